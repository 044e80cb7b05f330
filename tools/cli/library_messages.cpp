#include "library_messages.h"

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
    qInstallMessageHandler(handleMessage);
}

} // namespace vireo2::cli
