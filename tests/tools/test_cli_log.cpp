// `vireo2 log` finds the communication log where the library writes it.
#include <QFile>
#include <QSettings>

#include "cli_fixture.h"

namespace vireo2::test {
namespace {

class LogTest : public CliTest {
protected:
    // A connection that fails leaves an error line in the log.
    void failToConnect()
    {
        const ProgramResult result =
            vireo2({QStringLiteral("--tcp"), QStringLiteral("127.0.0.1:%1").arg(closedPort()), QStringLiteral("status")});
        ASSERT_EQ(result.exitCode, 1);
    }

    void setLogDirectory(const QString& value)
    {
        QSettings ini(workDirectory() + QStringLiteral("/spectro.ini"), QSettings::IniFormat);
        ini.setValue(QStringLiteral("Data/Path"), value);
        ini.sync();
    }

    QString logPath() { return vireo2({QStringLiteral("log"), QStringLiteral("--path")}).out.trimmed(); }
};

TEST_F(LogTest, ShowsTheLatestLinesTheLibraryWrote)
{
    EXPECT_EQ(logPath(), dataHome() + QStringLiteral("/Hueron/spectro.log"));
    failToConnect();
    failToConnect();
    const ProgramResult all = vireo2({QStringLiteral("log")});
    ASSERT_EQ(all.exitCode, 0) << all.err.toStdString();
    EXPECT_EQ(all.out.count(QStringLiteral("**ERROR** Unable to connect to Vireo2 - ")), 2) << all.out.toStdString();
    EXPECT_FALSE(all.out.contains(QLatin1Char('\r')));

    const ProgramResult last = vireo2({QStringLiteral("log"), QStringLiteral("-n"), QStringLiteral("1")});
    EXPECT_EQ(last.out.count(QLatin1Char('\n')), 1);
    EXPECT_TRUE(all.out.endsWith(last.out));
}

TEST_F(LogTest, FollowsAnAbsoluteDataPathInTheWorkingDirectory)
{
    const QString directory = path(QStringLiteral("elsewhere"));
    setLogDirectory(directory);
    EXPECT_EQ(logPath(), directory + QStringLiteral("/spectro.log"));
    failToConnect();
    EXPECT_TRUE(QFile::exists(directory + QStringLiteral("/spectro.log"))) << "the library writes there too";
    EXPECT_TRUE(vireo2({QStringLiteral("log")}).out.contains(QStringLiteral("Unable to connect")));
}

TEST_F(LogTest, PlacesARelativeDataPathInTheUserDataFolder)
{
    setLogDirectory(QStringLiteral("./mylogs"));
    EXPECT_EQ(logPath(), dataHome() + QStringLiteral("/mylogs/spectro.log"));
    failToConnect();
    EXPECT_TRUE(QFile::exists(dataHome() + QStringLiteral("/mylogs/spectro.log")));
}

TEST_F(LogTest, MissingLogIsAFailureThatNamesThePath)
{
    const ProgramResult result = vireo2({QStringLiteral("log")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(dataHome() + QStringLiteral("/Hueron/spectro.log")));
}

} // namespace
} // namespace vireo2::test
