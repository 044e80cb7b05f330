#include "subcommand.h"

namespace vireo2::cli {

namespace {
constexpr int kOptionColumn = 26;

QString optionNames(const QCommandLineOption& option)
{
    QStringList names;
    for (const QString& name : option.names())
        names << (name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name;
    QString text = names.join(QStringLiteral(", "));
    if (!option.valueName().isEmpty())
        text += QLatin1Char(' ') + option.valueName();
    return text;
}

QString optionTable(const QList<QCommandLineOption>& options)
{
    QString text;
    for (const QCommandLineOption& option : options) {
        const QString names = QStringLiteral("  ") + optionNames(option);
        if (names.size() < kOptionColumn)
            text += names.leftJustified(kOptionColumn) + option.description() + QLatin1Char('\n');
        else
            text += names + QLatin1Char('\n') + QString(kOptionColumn, QLatin1Char(' ')) + option.description()
                  + QLatin1Char('\n');
    }
    return text;
}
} // namespace

const QList<Subcommand>& subcommands()
{
    static const QList<Subcommand> list = {
        simCommand(),       statusCommand(),   calibrateCommand(),  measureCommand(),  scanCommand(),     chartCommand(),
        convertCommand(),   libraryCommand(),  templateCommand(),   backupCommand(),   restoreCommand(),
        screenshotCommand(), firmwareCommand(), profileCommand(),   instrumentLogCommand(),
        execCommand(),      settingsCommand(), logCommand()};
    return list;
}

const Subcommand* findSubcommand(const QString& name)
{
    for (const Subcommand& command : subcommands()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

QCommandLineOption tcpOption()
{
    return QCommandLineOption(QStringLiteral("tcp"),
                              QStringLiteral("Use TCP to HOST:PORT (stored for later commands)."),
                              QStringLiteral("HOST:PORT"));
}

QCommandLineOption usbOption()
{
    return QCommandLineOption(QStringLiteral("usb"), QStringLiteral("Use USB (stored for later commands)."));
}

QCommandLineOption quietOption()
{
    return QCommandLineOption({QStringLiteral("q"), QStringLiteral("quiet")},
                              QStringLiteral("No progress messages on stderr."));
}

QCommandLineOption verboseOption()
{
    return QCommandLineOption({QStringLiteral("v"), QStringLiteral("verbose")},
                              QStringLiteral("Show the library's debug messages and the raw error records and replies."));
}

QCommandLineOption helpOption()
{
    return QCommandLineOption({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help."));
}

QString programHelp()
{
    QString text = QStringLiteral(
        "Usage: vireo2 [--tcp HOST:PORT | --usb] COMMAND [options]\n"
        "\n"
        "Drives a Vireo2 spectrophotometer (or its simulator) through libVireo2.\n"
        "\n"
        "Commands:\n");
    for (const Subcommand& command : subcommands())
        text += QStringLiteral("  ") + command.name.leftJustified(16) + command.summary + QLatin1Char('\n');
    text += QStringLiteral("\nOptions:\n");
    text += optionTable({tcpOption(), usbOption(), quietOption(),
                         verboseOption(),
                         helpOption(),
                         QCommandLineOption(QStringLiteral("version"), QStringLiteral("Show the versions."))});
    text += QStringLiteral(
        "\n"
        "Without --tcp or --usb a command uses the connection stored in the library's\n"
        "settings. Exit status: 0 success, 1 failure (what went wrong is printed; with\n"
        "--verbose also the library's error code and text), 2 wrong command line.\n"
        "'vireo2 COMMAND --help' describes a command.\n"
        "\n"
        "First steps with the simulator:\n"
        "  vireo2 sim --port 60001 &\n"
        "  vireo2 --tcp 127.0.0.1:60001 calibrate\n"
        "  vireo2 measure --plot spectra.svg\n");
    return text;
}

QString subcommandHelp(const Subcommand& command)
{
    QString usage = QStringLiteral("Usage: vireo2 ");
    if (command.connects)
        usage += QStringLiteral("[--tcp HOST:PORT | --usb] ");
    usage += command.name + QStringLiteral(" [options]");
    if (!command.synopsis.isEmpty())
        usage += QLatin1Char(' ') + command.synopsis;

    QList<QCommandLineOption> options = command.options;
    if (command.connects)
        options << tcpOption() << usbOption();
    options << quietOption() << helpOption();
    return usage + QStringLiteral("\n\n") + command.description + QStringLiteral("\n\nOptions:\n")
         + optionTable(options);
}

} // namespace vireo2::cli
