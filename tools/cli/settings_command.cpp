#include <QJsonDocument>
#include <QJsonObject>

#include "connection_choice.h"
#include "console.h"
#include "instrument_session.h"
#include "library_error.h"
#include "subcommand.h"
#include "vireo2.h"

namespace vireo2::cli {

namespace {

constexpr int kInvalidSetting = 20495;
const QString kJson = QStringLiteral("json");

// Settings the library keeps in its settings file, with what they accept.
struct StoredSetting {
    const char* name;
    const char* accepts;
};
const StoredSetting kStoredSettings[] = {
    {"connection_method", "USB, TCP, USB_TCPIP or a wireless configuration name"},
    {"device_ip_address", "HOST or HOST:PORT, used when the method is TCP (names are resolved)"},
    {"connection_attempts", "1 to 5"},
    {"tr3_address", "HOST or HOST:PORT of the TR3 track accessory"},
    {"reading_mode", "fixed: Pressure"},
};

// Settings the instrument answers itself: reading or writing one connects.
bool answeredByInstrument(const QString& name)
{
    const QString lower = name.toLower();
    return lower == QLatin1String("netadjuster") || lower == QLatin1String("measurement_area");
}

QString option(const QString& name) { return QString::fromUtf8(GetOption(name.toUtf8().constData())); }

int list(const Invocation& call)
{
    if (call.parser.isSet(kJson)) {
        QJsonObject values;
        for (const auto& setting : kStoredSettings)
            values.insert(QString::fromLatin1(setting.name), option(QString::fromLatin1(setting.name)));
        printOut(QString::fromUtf8(QJsonDocument(values).toJson(QJsonDocument::Indented)));
        return ExitOk;
    }
    printOut(QStringLiteral("%1%2%3\n").arg(QStringLiteral("SETTING").leftJustified(22),
                                            QStringLiteral("VALUE").leftJustified(24), QStringLiteral("ACCEPTS")));
    for (const auto& setting : kStoredSettings) {
        const QString name = QString::fromLatin1(setting.name);
        printOut(QStringLiteral("%1%2%3\n").arg(name.leftJustified(22), option(name).leftJustified(24),
                                                QString::fromLatin1(setting.accepts)));
    }
    printOut(QStringLiteral("\nAnswered by the instrument (connects): netadjuster (ON/OFF), measurement_area.\n"
                            "Read one with 'vireo2 settings NAME', write with 'vireo2 settings NAME VALUE'.\n"));
    return ExitOk;
}

int read(const QString& name)
{
    const QString value = option(name);
    // An unknown name answers "" and records 20495; a fresh process has no
    // older record that could be mistaken for it.
    if (value.isEmpty() && GetLastErrorCode() == kInvalidSetting)
        return libraryFailure();
    printOut(value + QLatin1Char('\n'));
    return ExitOk;
}

int write(const QString& name, QString value)
{
    // The library stores these unchecked and reads them only when it
    // connects; a wrong one would break the next connection.
    if (const QString problem = checkSettingValue(name, &value); !problem.isEmpty())
        return usageError(problem, QStringLiteral("settings"));
    if (!SetOption(name.toUtf8().constData(), value.toUtf8().constData()))
        return libraryFailure();
    printOut(QStringLiteral("%1 = %2\n").arg(name, answeredByInstrument(name) ? value : option(name)));
    return ExitOk;
}

int run(const Invocation& call)
{
    const QStringList& args = call.arguments;
    if (args.size() > 2)
        return usageError(QStringLiteral("settings takes at most NAME and VALUE"), QStringLiteral("settings"));
    if (args.isEmpty())
        return list(call);
    InstrumentSession session(call.context.quiet);
    if (answeredByInstrument(args.at(0)) && !session.connect())
        return session.connectFailure();
    return args.size() == 1 ? read(args.at(0)) : write(args.at(0), args.at(1));
}

} // namespace

Subcommand settingsCommand()
{
    Subcommand command;
    command.name = QStringLiteral("settings");
    command.synopsis = QStringLiteral("[NAME [VALUE]]");
    command.summary = QStringLiteral("List, read or write the library's settings");
    command.description = QStringLiteral(
        "Without arguments lists the settings the library stores (in Vireo2.ini of its\n"
        "data directory, by default ~/.local/share/Hueron/). With NAME prints one\n"
        "setting; with NAME VALUE stores it. Names are case-insensitive.\n"
        "\n"
        "Examples:\n"
        "  vireo2 settings connection_method TCP\n"
        "  vireo2 settings device_ip_address 127.0.0.1:60001\n"
        "  vireo2 settings netadjuster");
    command.options = {QCommandLineOption(kJson, QStringLiteral("List the stored settings as one JSON object."))};
    command.connects = true;
    command.run = run;
    return command;
}

} // namespace vireo2::cli
