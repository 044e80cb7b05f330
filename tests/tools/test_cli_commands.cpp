// The vireo2 subcommands other than measure, exec and log, against the
// simulated instrument: what they print, what they change, and how they fail.
#include <QJsonObject>
#include <QRegularExpression>

#include "cli_fixture.h"

namespace vireo2::test {
namespace {

TEST_F(CliTest, StatusShowsTheInstrumentAndKeepsTheConnectionForLaterCommands)
{
    const ProgramResult text = runAgainstSim("status");
    ASSERT_EQ(text.exitCode, 0) << text.err.toStdString();
    for (const QString& line : {"Serial        " + kSerial, "Firmware      " + kFirmware,
                                "Connection    TCP " + simAddress(), QStringLiteral("Calibration   needs calibration"),
                                QStringLiteral("Aperture      4.0mm")})
        EXPECT_TRUE(text.out.contains(line)) << line.toStdString() << " in\n" << text.out.toStdString();

    // No connection option now: the stored settings lead to the same simulator.
    control("calibration valid");
    const QJsonObject status = jsonObject(run("status --json").out);
    EXPECT_EQ(status.value("serial").toString(), kSerial);
    EXPECT_EQ(status.value("firmware").toString(), kFirmware);
    EXPECT_EQ(status.value("calibration").toString(), "valid");
    const QJsonObject attributes = status.value("attributes").toObject();
    EXPECT_EQ(attributes.value("Mfg").toString(), "Hueron");
    EXPECT_EQ(attributes.value("Serial Number").toString(), kSerial);
    EXPECT_EQ(status.value("model"), attributes.value("Model"));
    // The option may also follow the command.
    EXPECT_EQ(run("status --tcp " + simAddress()).exitCode, 0);
}

TEST_F(CliTest, CalibrateReportsADirtyStandardAndThenMakesTheCalibrationValid)
{
    control("standard dirty");
    const ProgramResult dirty = runAgainstSim("calibrate");
    EXPECT_EQ(dirty.exitCode, 1);
    EXPECT_TRUE(dirty.err.contains("vireo2: the white standard is dirty or not the instrument's own\n"
                                   "hint: clean the white standard"))
        << dirty.err.toStdString();
    EXPECT_FALSE(dirty.err.contains("FAILED")) << "the library's own text only with --verbose";
    EXPECT_TRUE(dirty.out.isEmpty());

    control("standard clean");
    const ProgramResult quiet = runAgainstSim("--quiet calibrate");
    ASSERT_EQ(quiet.exitCode, 0) << quiet.err.toStdString();
    EXPECT_EQ(quiet.out, "Calibration: valid\n");
    EXPECT_TRUE(quiet.err.isEmpty()) << "a quiet run writes no progress: " << quiet.err.toStdString();
    EXPECT_TRUE(control("calibration").endsWith(" valid"));
}

TEST_F(CliTest, SettingsAreWrittenReadListedAndRefused)
{
    const ProgramResult write = run("settings Connection_Attempts 3");
    ASSERT_EQ(write.exitCode, 0) << write.err.toStdString();
    EXPECT_EQ(write.out, "Connection_Attempts = 3\n");
    EXPECT_EQ(run("settings connection_attempts").out, "3\n");
    const QJsonObject all = jsonObject(run("settings --json").out);
    EXPECT_EQ(all.value("connection_attempts").toString(), "3");
    EXPECT_EQ(all.value("reading_mode").toString(), "Pressure");
    EXPECT_TRUE(run("settings").out.contains(QRegularExpression("connection_attempts +3 ")));
    // What the instrument answers needs a connection first.
    EXPECT_EQ(runAgainstSim("settings measurement_area").out, "4.0mm\n");

    const ProgramResult unknown = run("settings colour");
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_TRUE(unknown.err.contains("vireo2: there is no such setting")) << unknown.err.toStdString();
    const ProgramResult fixed = run("--verbose settings reading_mode Pressure");
    EXPECT_EQ(fixed.exitCode, 1);
    EXPECT_TRUE(fixed.err.contains("details: error 20495: FAILED setSettingOption: Invalid Option"))
        << fixed.err.toStdString();
}

// The connection settings are checked before they are stored, host names
// resolve, and a connection that fails leaves the stored one as it was.
TEST_F(CliTest, ConnectionSettingsAreCheckedAndAFailedConnectionKeepsTheStoredOne)
{
    for (const char* line : {"settings connection_method SERIAL", "settings connection_attempts 9",
                             "settings connection_attempts three", "settings device_ip_address not:an:address",
                             "settings device_ip_address no.such.host.invalid", "settings tr3_address a:b:c"}) {
        const ProgramResult result = run(line);
        EXPECT_EQ(result.exitCode, 2) << line;
        EXPECT_TRUE(result.err.startsWith("vireo2: ")) << line << ": " << result.err.toStdString();
    }
    EXPECT_TRUE(run("settings connection_method SERIAL").err.contains("USB, TCP, USB_TCPIP"));
    const QJsonObject untouched = jsonObject(run("settings --json").out);
    EXPECT_EQ(untouched.value("connection_method").toString(), "USB");
    EXPECT_EQ(untouched.value("device_ip_address").toString(), "192.168.7.2");
    EXPECT_EQ(untouched.value("connection_attempts").toString(), "5");
    EXPECT_EQ(run("settings connection_method tcp").out, "connection_method = TCP\n");

    // A host name is resolved to the address the library can use.
    const QString port = QString::number(sim_->port());
    EXPECT_EQ(run("settings device_ip_address localhost:" + port).out, "device_ip_address = 127.0.0.1:" + port + "\n");
    ASSERT_EQ(run("--tcp localhost:" + port + " status").exitCode, 0);

    // A failed --tcp leaves the working connection stored.
    const ProgramResult failed = run("--tcp " + QString::fromLatin1(closedAddress()) + " status");
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(failed.err.contains("vireo2: cannot connect (TCP " + QString::fromLatin1(closedAddress())))
        << failed.err.toStdString();
    EXPECT_TRUE(failed.err.contains("The stored connection (TCP " + simAddress() + ") is kept."))
        << failed.err.toStdString();
    EXPECT_EQ(run("status").exitCode, 0) << "the stored connection still reaches the instrument";
}

TEST_F(CliTest, MistakesExitWithUsageStatusAndHelpExplainsEachCommand)
{
    for (const char* line : {"", "frobnicate", "--tcp a:b:c status", "--tcp 127.0.0.1:70000 status",
                             "--usb status --tcp 127.0.0.1:1", "status extra", "status --bogus", "exec",
                             "log --lines none", "settings a b c", "measure --json --csv",
                             "measure --illuminant D55/2"}) {
        const ProgramResult result = run(line);
        EXPECT_EQ(result.exitCode, 2) << line;
        EXPECT_FALSE(result.err.isEmpty()) << line;
    }
    EXPECT_TRUE(run("measure --illuminant D55/2").err.contains("D65/10")) << "the valid names are listed";
    // None of them touched the stored settings.
    EXPECT_EQ(run("settings connection_method").out, "USB\n");

    // Every subcommand explains itself.
    const ProgramResult overview = run("--help");
    EXPECT_EQ(overview.exitCode, 0);
    for (const char* command : {"sim", "status", "calibrate", "measure", "exec", "settings", "log"}) {
        EXPECT_TRUE(overview.out.contains(QStringLiteral("\n  %1 ").arg(command))) << command;
        const ProgramResult help = run(QStringLiteral("%1 --help").arg(command));
        EXPECT_EQ(help.exitCode, 0) << command;
        EXPECT_TRUE(help.out.startsWith("Usage: vireo2 ")) << command;
        EXPECT_TRUE(help.out.contains("--help")) << command;
    }
}

// `vireo2 sim` runs the simulator program in the foreground; the host then
// talks to it like to an instrument.
TEST_F(CliTest, SimSubcommandServesTheInstrument)
{
    QProcess simulator;
    placeInTest(simulator);
    simulator.start(VIREO2_CLI_PROGRAM, QString("sim --port 0 --serial SIM-CMD-7 --calibrated").split(' '));
    ASSERT_TRUE(simulator.waitForReadyRead(10000));
    const QString banner = QString::fromUtf8(simulator.readLine());
    const auto listening = QRegularExpression("listening on (127\\.0\\.0\\.1:\\d+)").match(banner);
    ASSERT_TRUE(listening.hasMatch()) << banner.toStdString();
    const ProgramResult status = run("--tcp " + listening.captured(1) + " status");
    simulator.terminate();
    simulator.waitForFinished(10000);
    EXPECT_EQ(status.exitCode, 0) << status.err.toStdString();
    // The options reached the simulator.
    EXPECT_TRUE(status.out.contains("Serial        SIM-CMD-7"));
    EXPECT_TRUE(status.out.contains("Calibration   valid"));
}

} // namespace
} // namespace vireo2::test
