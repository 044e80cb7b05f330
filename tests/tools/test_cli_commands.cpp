// The vireo2 subcommands other than measure, against the simulated
// instrument: what they print, what they change, and how they fail.
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>

#include "cli_fixture.h"

namespace vireo2::test {
namespace {

QJsonObject parseObject(const QString& text)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << text.toStdString();
    return document.object();
}

TEST_F(CliTest, StatusPrintsWhatTheInstrumentReports)
{
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("status")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(QStringLiteral("Serial        ") + kSerial)) << result.out.toStdString();
    EXPECT_TRUE(result.out.contains(QStringLiteral("Firmware      ") + kFirmware));
    EXPECT_TRUE(result.out.contains(QStringLiteral("Calibration   needs calibration")));
    EXPECT_TRUE(result.out.contains(QStringLiteral("Connection    TCP ") + simAddress()));
    EXPECT_TRUE(result.out.contains(QStringLiteral("Aperture      4.0mm")));
}

TEST_F(CliTest, StatusJsonCarriesTheAttributesAsFields)
{
    control(QStringLiteral("calibration valid"));
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("status"), QStringLiteral("--json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject status = parseObject(result.out);
    EXPECT_EQ(status.value(QStringLiteral("serial")).toString(), kSerial);
    EXPECT_EQ(status.value(QStringLiteral("firmware")).toString(), kFirmware);
    EXPECT_EQ(status.value(QStringLiteral("calibration")).toString(), QStringLiteral("valid"));
    const QJsonObject attributes = status.value(QStringLiteral("attributes")).toObject();
    EXPECT_EQ(attributes.value(QStringLiteral("Mfg")).toString(), QStringLiteral("Hueron"));
    EXPECT_EQ(attributes.value(QStringLiteral("Serial Number")).toString(), kSerial);
    EXPECT_EQ(status.value(QStringLiteral("model")).toString(), attributes.value(QStringLiteral("Model")).toString());
}

TEST_F(CliTest, CalibrateMakesTheCalibrationValid)
{
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("calibrate")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.out, QStringLiteral("Calibration: valid\n"));
    EXPECT_TRUE(sim_->waitForCommand("Cal Run", 0));
    EXPECT_TRUE(control(QStringLiteral("calibration")).contains(QStringLiteral("valid")));
}

TEST_F(CliTest, CalibrationOnADirtyStandardFailsWithTheInstrumentStatus)
{
    control(QStringLiteral("standard dirty"));
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("calibrate")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(
        QStringLiteral("error 140: FAILED calibrateStep: Incorrect or dirty White Calibration Standard.")))
        << result.err.toStdString();
    EXPECT_TRUE(result.out.isEmpty());
}

TEST_F(CliTest, UnreachableInstrumentFailsWithTheConnectError)
{
    const ProgramResult result =
        vireo2({QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:%1").arg(closedPort()), QStringLiteral("status")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("error 20480: Unable to connect to Vireo2 - ")))
        << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(QStringLiteral("Connecting (TCP 127.0.0.1:")));
    EXPECT_TRUE(result.out.isEmpty());
}

TEST_F(CliTest, ConnectionOptionIsStoredForLaterCommands)
{
    ASSERT_EQ(vireo2AgainstSim({QStringLiteral("status")}).exitCode, 0);
    // No option now: the stored settings lead to the same simulator.
    const ProgramResult again = vireo2({QStringLiteral("status")});
    EXPECT_EQ(again.exitCode, 0) << again.err.toStdString();
    EXPECT_EQ(vireo2({QStringLiteral("settings"), QStringLiteral("device_ip_address")}).out, simAddress() + '\n');
    EXPECT_EQ(vireo2({QStringLiteral("settings"), QStringLiteral("connection_method")}).out, QStringLiteral("TCP\n"));
    // The option may also follow the command.
    EXPECT_EQ(vireo2({QStringLiteral("status"), QStringLiteral("--tcp"), simAddress()}).exitCode, 0);
}

TEST_F(CliTest, SettingsAreWrittenReadAndListed)
{
    const ProgramResult write = vireo2({QStringLiteral("settings"), QStringLiteral("Connection_Attempts"), QStringLiteral("3")});
    ASSERT_EQ(write.exitCode, 0) << write.err.toStdString();
    EXPECT_EQ(write.out, QStringLiteral("Connection_Attempts = 3\n"));
    EXPECT_EQ(vireo2({QStringLiteral("settings"), QStringLiteral("connection_attempts")}).out, QStringLiteral("3\n"));

    const ProgramResult list = vireo2({QStringLiteral("settings"), QStringLiteral("--json")});
    ASSERT_EQ(list.exitCode, 0);
    const QJsonObject settings = parseObject(list.out);
    EXPECT_EQ(settings.value(QStringLiteral("connection_attempts")).toString(), QStringLiteral("3"));
    EXPECT_EQ(settings.value(QStringLiteral("reading_mode")).toString(), QStringLiteral("Pressure"));

    const ProgramResult table = vireo2({QStringLiteral("settings")});
    EXPECT_TRUE(table.out.contains(QRegularExpression(QStringLiteral("connection_attempts +3 "))));
}

TEST_F(CliTest, UnknownOrFixedSettingFailsWithTheLibraryError)
{
    const ProgramResult read = vireo2({QStringLiteral("settings"), QStringLiteral("colour")});
    EXPECT_EQ(read.exitCode, 1);
    EXPECT_TRUE(read.err.contains(QStringLiteral("error 20495: FAILED settingOption: Invalid Setting")));
    const ProgramResult write = vireo2({QStringLiteral("settings"), QStringLiteral("reading_mode"), QStringLiteral("Pressure")});
    EXPECT_EQ(write.exitCode, 1);
    EXPECT_TRUE(write.err.contains(QStringLiteral("error 20495: FAILED setSettingOption: Invalid Option")));
}

TEST_F(CliTest, InstrumentAnsweredSettingConnectsFirst)
{
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("settings"), QStringLiteral("measurement_area")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.out, QStringLiteral("4.0mm\n"));
}

TEST_F(CliTest, CommandLineMistakesExitWithUsageStatus)
{
    const QList<QStringList> mistakes = {
        {},
        {QStringLiteral("frobnicate")},
        {QStringLiteral("--tcp"), QStringLiteral("a:b:c"), QStringLiteral("status")},
        {QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:70000"), QStringLiteral("status")},
        {QStringLiteral("--usb"), QStringLiteral("status"), QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:1")},
        {QStringLiteral("status"), QStringLiteral("extra")},
        {QStringLiteral("status"), QStringLiteral("--bogus")},
        {QStringLiteral("exec")},
        {QStringLiteral("log"), QStringLiteral("--lines"), QStringLiteral("none")},
        {QStringLiteral("settings"), QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")},
    };
    for (const QStringList& arguments : mistakes) {
        const ProgramResult result = vireo2(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments.join(' ').toStdString();
        EXPECT_FALSE(result.err.isEmpty()) << arguments.join(' ').toStdString();
    }
    // None of them touched the stored settings.
    EXPECT_EQ(vireo2({QStringLiteral("settings"), QStringLiteral("connection_method")}).out, QStringLiteral("USB\n"));
}

TEST_F(CliTest, EverySubcommandExplainsItself)
{
    for (const char* command : {"status", "calibrate", "measure", "exec", "settings", "log"}) {
        const ProgramResult result = vireo2({QString::fromLatin1(command), QStringLiteral("--help")});
        EXPECT_EQ(result.exitCode, 0) << command;
        EXPECT_TRUE(result.out.startsWith(QStringLiteral("Usage: vireo2 "))) << command;
        EXPECT_TRUE(result.out.contains(QStringLiteral("--help"))) << command;
    }
    const ProgramResult overview = vireo2({QStringLiteral("--help")});
    EXPECT_EQ(overview.exitCode, 0);
    for (const char* command : {"sim", "status", "calibrate", "measure", "exec", "settings", "log"})
        EXPECT_TRUE(overview.out.contains(QStringLiteral("\n  %1 ").arg(QString::fromLatin1(command)))) << command;
}

TEST_F(CliTest, QuietRunWritesNoProgress)
{
    control(QStringLiteral("calibration valid"));
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("--quiet"), QStringLiteral("calibrate")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.err.isEmpty()) << result.err.toStdString();
}

// `vireo2 sim` runs the simulator program in the foreground; the host then
// talks to it like to an instrument.
TEST_F(CliTest, SimSubcommandServesTheInstrument)
{
    QProcess simulator;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome());
    simulator.setProcessEnvironment(environment);
    simulator.start(QStringLiteral(VIREO2_CLI_PROGRAM),
                    {QStringLiteral("sim"), QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--serial"),
                     QStringLiteral("SIM-CMD-7"), QStringLiteral("--calibrated")});
    ASSERT_TRUE(simulator.waitForStarted(10000));
    QString banner;
    while (!banner.contains(QLatin1Char('\n')) && simulator.waitForReadyRead(10000))
        banner += QString::fromUtf8(simulator.readAllStandardOutput());
    const QRegularExpression listening(QStringLiteral("listening on 127\\.0\\.0\\.1:(\\d+)"));
    const auto match = listening.match(banner);
    ASSERT_TRUE(match.hasMatch()) << banner.toStdString();

    const ProgramResult status =
        vireo2({QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:") + match.captured(1), QStringLiteral("status")});
    simulator.terminate();
    simulator.waitForFinished(10000);
    EXPECT_EQ(status.exitCode, 0) << status.err.toStdString();
    // The options reached the simulator.
    EXPECT_TRUE(status.out.contains(QStringLiteral("Serial        SIM-CMD-7")));
    EXPECT_TRUE(status.out.contains(QStringLiteral("Calibration   valid")));
}

} // namespace
} // namespace vireo2::test
