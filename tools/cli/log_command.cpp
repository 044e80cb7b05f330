#include <QFile>
#include <QStringList>

#include "console.h"
#include "log_location.h"
#include "subcommand.h"

namespace vireo2::cli {

namespace {
const QString kLines = QStringLiteral("lines");
const QString kPath = QStringLiteral("path");
const QString kErrors = QStringLiteral("errors");
constexpr int kDefaultLines = 20;

int run(const Invocation& call)
{
    if (!call.arguments.isEmpty())
        return usageError(QStringLiteral("log takes no arguments"), QStringLiteral("log"));
    int count = kDefaultLines;
    if (call.parser.isSet(kLines)) {
        bool ok = false;
        count = call.parser.value(kLines).toInt(&ok);
        if (!ok || count < 1)
            return usageError(QStringLiteral("--lines needs a positive number"), QStringLiteral("log"));
    }
    const QString path = communicationLogPath();
    if (call.parser.isSet(kPath)) {
        printOut(path + QLatin1Char('\n'));
        return ExitOk;
    }
    QFile file(path);
    if (!file.exists())
        return failure(QStringLiteral("no communication log yet at %1").arg(path));
    if (!file.open(QIODevice::ReadOnly))
        return failure(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
    // The library ends lines with "\r\n" and may cut the oldest line in half
    // when it trims the file; both are harmless here.
    QStringList lines = QString::fromUtf8(file.readAll()).remove(QLatin1Char('\r')).split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    if (call.parser.isSet(kErrors))
        lines = lines.filter(QStringLiteral("**ERROR**"));
    const QStringList tail = lines.mid(qMax(0, lines.size() - count));
    printOut(tail.isEmpty() ? QString() : tail.join(QLatin1Char('\n')) + QLatin1Char('\n'));
    return ExitOk;
}
} // namespace

Subcommand logCommand()
{
    Subcommand command;
    command.name = QStringLiteral("log");
    command.summary = QStringLiteral("Show the end of the communication log");
    command.description = QStringLiteral(
        "Prints the last lines of the library's communication log, spectro.log.\n"
        "The library looks for \"spectro.ini\" in the current directory: its Data/Path\n"
        "names the log's directory (absolute, or relative to the user's data folder).\n"
        "Without it the log is $XDG_DATA_HOME/Hueron/spectro.log (by default\n"
        "~/.local/share/Hueron/spectro.log). Errors and the steps of the background\n"
        "status check are always logged; every exchange with the instrument only when\n"
        "that spectro.ini holds [Options] Debug=1.");
    command.options = {
        QCommandLineOption({QStringLiteral("n"), kLines}, QStringLiteral("How many lines (default 20)."),
                           QStringLiteral("N")),
        QCommandLineOption(kPath, QStringLiteral("Print the log file's path only.")),
        QCommandLineOption(kErrors, QStringLiteral("Only the error lines (\"**ERROR** ...\").")),
    };
    command.run = run;
    return command;
}

} // namespace vireo2::cli
