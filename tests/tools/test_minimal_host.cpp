// The example host of docs/examples/minimal_host.c, built with the C compiler
// as any host would build it, run against the simulated instrument.
#include <QRegularExpression>

#include "cli_fixture.h"
#include "test_environment.h"

namespace vireo2::test {
namespace {

const QString kMinimalHost = QStringLiteral(VIREO2_MINIMAL_HOST);

TEST_F(CliTest, MinimalHostCalibratesMeasuresAndPrintsEveryCondition)
{
    const ProgramResult result = runProgram(kMinimalHost, {simAddress()});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains(QStringLiteral("Calibrating"))) << "a fresh instrument needs calibrating";
    EXPECT_TRUE(sim_->waitForCommand("Cal Run", 0));
    EXPECT_TRUE(result.out.contains(QStringLiteral("Serial %1, 4 measurement conditions").arg(kSerial)));
    const QRegularExpression labLine(QStringLiteral("^M[0-3]  L\\* +\\d+\\.\\d\\d  a\\* +-?\\d+\\.\\d\\d  b\\* +-?\\d+\\.\\d\\d$"),
                                     QRegularExpression::MultilineOption);
    EXPECT_EQ(result.out.count(labLine), 4) << result.out.toStdString();
    // The first row of M0 is the sample's reflectance in percent.
    const QVector<double> expected = samplePercent();
    QString firstRow = QStringLiteral("    400 nm:");
    for (int i = 0; i < 8; ++i)
        firstRow += QString::asprintf(" %5.1f", expected.at(i));
    EXPECT_TRUE(result.out.contains(firstRow)) << firstRow.toStdString();
    // The library's own Qt debug messages stay quiet in a host that did not
    // ask for them, even through Qt's default message handler.
    EXPECT_EQ(result.err, QString());
}

// With "Options/Debug=1" the library's debug messages reach the host's
// (here Qt's default) message handler.
TEST_F(CliTest, MinimalHostShowsTheLibrarysDebugMessagesWhenDebugIsOn)
{
    control(QStringLiteral("calibration valid"));
    TestEnvironment::writeIni(workDirectory(), {{QStringLiteral("Options/Debug"), QStringLiteral("1")}});
    const ProgramResult result = runProgram(kMinimalHost, {simAddress()});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(QStringLiteral("Device Disconnected - PORT DISCONNECT!!."))) << result.err.toStdString();
}

TEST_F(CliTest, MinimalHostReportsAFailedConnection)
{
    const ProgramResult result = runProgram(kMinimalHost, {QString::fromLatin1(closedAddress())});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.startsWith(QStringLiteral("Connect failed: error 20480: Unable to connect to Vireo2 - ")))
        << result.err.toStdString();
}

} // namespace
} // namespace vireo2::test
