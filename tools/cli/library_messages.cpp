#include "library_messages.h"

#include <QLoggingCategory>
#include <QString>
#include <QtGlobal>
#include <atomic>

#include "console.h"

namespace vireo2::cli {

namespace {
std::atomic<bool> gVerbose{false};

void handleMessage(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if ((type == QtDebugMsg || type == QtInfoMsg) && !gVerbose)
        return;
    printErr(QStringLiteral("libVireo2: %1\n").arg(message));
}
} // namespace

void filterLibraryMessages(bool verbose)
{
    gVerbose = verbose;
    // The library's debug messages are off unless asked for; --verbose asks
    // through Qt's own filter rules.
    if (verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("vireo2.debug=true"));
    qInstallMessageHandler(handleMessage);
}

} // namespace vireo2::cli
