// `vireo2 exec` hands a command line to the library's Execute and prints its
// answer; an empty answer is a failure reported from the error record.
#include <QRegularExpression>

#include "cli_fixture.h"

namespace vireo2::test {
namespace {

TEST_F(CliTest, ExecFailureReportsTheLibraryErrorRecord)
{
    // "getsignature" is a command the library always refuses.
    ProgramResult result = vireo2AgainstSim({QStringLiteral("exec"), QStringLiteral("getsignature")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("vireo2: the library does not offer this command")) << result.err.toStdString();
    EXPECT_TRUE(result.out.isEmpty());
    result = vireo2AgainstSim({QStringLiteral("--verbose"), QStringLiteral("exec"), QStringLiteral("getsignature")});
    EXPECT_TRUE(result.err.contains("details: error 20504: FAILED execute: Invalid Command")) << result.err.toStdString();

    // A word nobody knows reaches the instrument, which answers no value.
    result = vireo2AgainstSim({QStringLiteral("exec"), QStringLiteral("blah")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_TRUE(result.err.contains("answered 'blah' with no value")) << result.err.toStdString();
}

TEST_F(CliTest, ExecWithoutConnectingLeavesTheInstrumentAlone)
{
    vireo2AgainstSim({QStringLiteral("exec"), QStringLiteral("--no-connect"), QStringLiteral("ism0m1compliant")});
    EXPECT_TRUE(sim_->commands().isEmpty());
    EXPECT_EQ(sim_->clientCount(), 0);
}

TEST_F(CliTest, ExecConnectsFirstByDefault)
{
    vireo2AgainstSim({QStringLiteral("exec"), QStringLiteral("clock"), QStringLiteral("get")});
    EXPECT_TRUE(sim_->waitForCommand("version", 0)) << "the instrument was identified";
}

TEST_F(CliTest, ExecPrintsTheInstrumentsAnswer)
{
    const ProgramResult result = vireo2AgainstSim({QStringLiteral("exec"), QStringLiteral("serialnum get inst")});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.out, QStringLiteral("SERIALNUM 0x00 ") + kSerial + QLatin1Char('\n'));
}

} // namespace
} // namespace vireo2::test
