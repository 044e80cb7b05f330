#include "library_error.h"

#include "console.h"
#include "execute_call.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {
bool gShowRaw = false;
}

LibraryError LibraryError::last()
{
    LibraryError error;
    error.code = GetLastErrorCode();
    error.text = QString::fromUtf8(GetLastErrorString());
    return error;
}

void setShowRawReplies(bool show) { gShowRaw = show; }

bool showRawReplies() { return gShowRaw; }

int explainedFailure(const QString& what, const Explanation& explanation, const QString& raw)
{
    const QString sentence = what.isEmpty() ? explanation.sentence : what + QStringLiteral(": ") + explanation.sentence;
    printErr(QStringLiteral("vireo2: %1\n").arg(sentence));
    if (!explanation.hint.isEmpty())
        printErr(QStringLiteral("hint: %1\n").arg(explanation.hint));
    if (gShowRaw && !raw.isEmpty())
        printErr(QStringLiteral("details: %1\n").arg(raw));
    return ExitFailure;
}

int libraryFailure()
{
    const LibraryError error = LibraryError::last();
    // A code of 0 means no reason was recorded for this call; whatever text
    // is left belongs to an earlier one.
    const QString raw = error.code == 0 ? QString() : QStringLiteral("error %1: %2").arg(error.code).arg(error.text);
    return explainedFailure(QString(), explainError(error.code, error.text), raw);
}

int replyFailure(const QString& what, const QString& answer)
{
    const int status = replyStatus(answer);
    const Explanation explanation =
        status >= 0 ? explainStatus(status)
                    : Explanation{QStringLiteral("the instrument answered something this program does not understand"),
                                  QString()};
    return explainedFailure(what, explanation, QStringLiteral("the instrument answered: %1").arg(answer));
}

} // namespace vireo2::cli
