#include "execute_call.h"

#include <QRegularExpression>

#include "progress.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {
// Execute answers a line holding any of these (case-sensitive, anywhere)
// from the library itself.
const char* const kAnsweredByTheLibrary[] = {"Abort",           "GetProgress",     "IsLaserOn",
                                             "IsScanRequested", "IsM0M1Compliant", "Menu Go Home"};
} // namespace

QString executeLine(const QString& line, const QString& progress, bool quiet,
                    const std::function<bool(const QString&)>& succeeded)
{
    const QByteArray utf8 = line.toUtf8();
    if (progress.isEmpty())
        return QString::fromUtf8(Execute(utf8.constData()));
    Progress shown(progress, quiet);
    const QString answer = QString::fromUtf8(Execute(utf8.constData()));
    shown.finish(succeeded ? succeeded(answer) : !answer.isEmpty());
    return answer;
}

QString checkArgument(const QString& argument, const QString& what)
{
    if (argument.contains(QLatin1Char(';')))
        return QStringLiteral("%1 cannot contain \";\": the library's command line is cut there").arg(what);
    for (const char* word : kAnsweredByTheLibrary) {
        if (argument.contains(QLatin1String(word)))
            return QStringLiteral("%1 cannot contain \"%2\": the library answers any command holding it by "
                                  "itself, so it would never reach the instrument")
                .arg(what, QLatin1String(word));
    }
    return QString();
}

QString checkObjectName(const QString& name, const QString& what)
{
    if (name.trimmed().isEmpty())
        return QStringLiteral("%1 is empty").arg(what);
    if (name.contains(QRegularExpression(QStringLiteral("\\s"))))
        return QStringLiteral("%1 \"%2\" holds a blank: the instrument takes a name as one word, so it could "
                              "not be fetched or removed again")
            .arg(what, name);
    return checkArgument(name, what);
}

QString payloadOf(const QString& answer)
{
    const int bar = answer.indexOf(QLatin1Char('|'));
    return bar < 0 ? QString() : answer.mid(bar + 1);
}

int replyStatus(const QString& answer)
{
    static const QRegularExpression reply(QStringLiteral("^[A-Z][A-Z0-9_]* 0x([0-9A-Fa-f]{2})$"));
    const auto match = reply.match(answer.trimmed());
    return match.hasMatch() ? match.captured(1).toInt(nullptr, 16) : -1;
}

// Every Execute line starts by setting the record to 0 and "<00>"; this one
// is answered at once, without the instrument and without logging.
void clearErrorCode()
{
    Execute("IsLaserOn");
}

} // namespace vireo2::cli
