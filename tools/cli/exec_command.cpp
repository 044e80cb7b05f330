#include "console.h"
#include "instrument_session.h"
#include "library_error.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {
const QString kNoConnect = QStringLiteral("no-connect");

int run(const Invocation& call)
{
    // Words given separately are joined by single blanks, so both
    // `vireo2 exec clock get` and `vireo2 exec "clock get"` work.
    const QString line = call.arguments.join(QLatin1Char(' '));
    if (line.trimmed().isEmpty())
        return usageError(QStringLiteral("exec needs a command line"), QStringLiteral("exec"));
    InstrumentSession session(call.context.quiet);
    if (!call.parser.isSet(kNoConnect) && !session.connect())
        return session.connectFailure();
    // An empty answer is the library's way of saying the command failed.
    const QString answer = QString::fromUtf8(Execute(line.toUtf8().constData()));
    if (answer.isEmpty())
        return libraryFailure();
    // A word the library does not know goes to the instrument; a reply with
    // only a status carries no value, which is also how an instrument answers
    // a command it ignores.
    if (answer == QLatin1String("NO VALUE FOUND"))
        return failure(QStringLiteral("the instrument answered '%1' with no value (it may not know the command); "
                                      "'vireo2 exec sendcommand %1' shows its raw reply")
                           .arg(line));
    printOut(answer + QLatin1Char('\n'));
    return ExitOk;
}
} // namespace

Subcommand execCommand()
{
    Subcommand command;
    command.name = QStringLiteral("exec");
    command.synopsis = QStringLiteral("TEXT...");
    command.summary = QStringLiteral("Pass a command line to Execute and print its answer");
    command.description = QStringLiteral(
        "Connects, passes TEXT to the library's Execute function and prints the answer:\n"
        "\"<00>\" for success with nothing to report, otherwise the command's value.\n"
        "Words the library does not know go to the instrument as they stand.\n"
        "\n"
        "Examples:\n"
        "  vireo2 exec clock get\n"
        "  vireo2 exec \"calstatus get\"\n"
        "  vireo2 exec --no-connect ism0m1compliant");
    command.options = {QCommandLineOption(
        kNoConnect, QStringLiteral("Do not connect first (for the library's own queries)."))};
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
