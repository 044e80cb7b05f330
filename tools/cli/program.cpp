#include "program.h"

#include <QFileInfo>

#include "console.h"
#include "library_error.h"
#include "library_messages.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {

QCommandLineOption versionOption()
{
    return QCommandLineOption(QStringLiteral("version"), QStringLiteral("Show the versions."));
}

QString programFile(const QString& argv0)
{
    const QString self = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    return self.isEmpty() ? QFileInfo(argv0).absoluteFilePath() : self;
}

// The connection options may stand before the command or among its own
// options; either way at most one of them.
int chooseConnection(const QCommandLineParser& global, const QCommandLineParser& local, bool localHasOptions,
                     const QString& commandName, ConnectionChoice* choice)
{
    QStringList tcp = global.values(QStringLiteral("tcp"));
    bool usb = global.isSet(QStringLiteral("usb"));
    if (localHasOptions) {
        tcp += local.values(QStringLiteral("tcp"));
        usb = usb || local.isSet(QStringLiteral("usb"));
    }
    if (tcp.size() + (usb ? 1 : 0) > 1)
        return usageError(QStringLiteral("give one connection: --tcp HOST:PORT or --usb"), commandName);
    if (usb) {
        choice->kind = ConnectionChoice::Kind::Usb;
    } else if (!tcp.isEmpty()) {
        QString problem;
        const QString address = ConnectionChoice::resolveTcpAddress(tcp.first(), &problem);
        if (!problem.isEmpty())
            return usageError(QStringLiteral("--tcp: %1").arg(problem), commandName);
        choice->kind = ConnectionChoice::Kind::Tcp;
        choice->address = address;
    }
    return ExitOk;
}

int runSubcommand(const Subcommand& command, const QCommandLineParser& global, const QStringList& arguments,
                  Context& context)
{
    QCommandLineParser parser;
    parser.addOptions(command.options);
    if (command.connects)
        parser.addOptions({tcpOption(), usbOption()});
    parser.addOptions({quietOption(), helpOption()});
    if (!parser.parse(QStringList{QStringLiteral("vireo2 ") + command.name} + arguments))
        return usageError(parser.errorText(), command.name);
    if (parser.isSet(QStringLiteral("help"))) {
        printOut(subcommandHelp(command));
        return ExitOk;
    }
    context.quiet = context.quiet || parser.isSet(QStringLiteral("quiet"));

    const int chosen = chooseConnection(global, parser, command.connects, command.name, &context.connection);
    if (chosen != ExitOk)
        return chosen;
    if (!applyConnectionChoice(context.connection))
        return libraryFailure();
    return command.run(Invocation{context, parser, parser.positionalArguments()});
}

} // namespace

int runProgram(const QStringList& arguments)
{
    QCommandLineParser global;
    global.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    global.addOptions({tcpOption(), usbOption(), quietOption(), verboseOption(), helpOption(), versionOption()});
    if (!global.parse(arguments))
        return usageError(global.errorText());
    filterLibraryMessages(global.isSet(QStringLiteral("verbose")));
    setShowRawReplies(global.isSet(QStringLiteral("verbose")));
    if (global.isSet(QStringLiteral("help"))) {
        printOut(programHelp());
        return ExitOk;
    }
    if (global.isSet(QStringLiteral("version"))) {
        printOut(QStringLiteral("vireo2 %1 (libVireo2 interface %2)\n")
                     .arg(QStringLiteral(VIREO2_CLI_VERSION), QString::fromUtf8(GetInterfaceVersion())));
        return ExitOk;
    }

    QStringList positional = global.positionalArguments();
    if (positional.isEmpty()) {
        printErr(programHelp());
        return ExitUsage;
    }
    const QString name = positional.takeFirst();
    const Subcommand* command = findSubcommand(name);
    if (!command)
        return usageError(QStringLiteral("'%1' is not a command").arg(name));

    Context context;
    context.programFile = programFile(arguments.value(0));
    context.quiet = global.isSet(QStringLiteral("quiet"));
    if (command->passThrough)
        return command->run(Invocation{context, global, positional});
    return runSubcommand(*command, global, positional, context);
}

} // namespace vireo2::cli
