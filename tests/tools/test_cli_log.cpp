// `vireo2 log` finds the communication log where the library writes it.
#include <QFile>
#include <QSettings>

#include "cli_fixture.h"

namespace vireo2::test {
namespace {

class LogTest : public CliTest {
protected:
    // A connection that fails: exit status 1, the reason in plain words, and
    // an error line in the log.
    void failToConnect()
    {
        const ProgramResult result = run("--tcp " + QString::fromLatin1(closedAddress()) + " status");
        ASSERT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.err.contains("Connecting (TCP 127.0.0.1:")) << result.err.toStdString();
        EXPECT_TRUE(result.err.contains("vireo2: ")) << result.err.toStdString();
        EXPECT_TRUE(result.err.contains("nothing answers at the instrument's address")) << result.err.toStdString();
        EXPECT_TRUE(result.out.isEmpty());
    }

    QString logPath() const { return run("log --path").out.trimmed(); }
};

TEST_F(LogTest, ShowsTheLatestLinesTheLibraryWrote)
{
    const QString defaultPath = dataHome() + "/Hueron/spectro.log";
    EXPECT_EQ(logPath(), defaultPath);
    const ProgramResult missing = run("log");
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.err.contains(defaultPath)) << "a missing log is a failure that names the path";

    failToConnect();
    failToConnect();
    const ProgramResult all = run("log");
    ASSERT_EQ(all.exitCode, 0) << all.err.toStdString();
    EXPECT_EQ(all.out.count("**ERROR** Unable to connect to Vireo2 - "), 2) << all.out.toStdString();
    EXPECT_FALSE(all.out.contains('\r'));
    const ProgramResult last = run("log -n 1");
    EXPECT_EQ(last.out.count('\n'), 1);
    EXPECT_TRUE(all.out.endsWith(last.out));

    // --errors leaves out the status check's lines; -n counts what is shown.
    QFile log(defaultPath);
    ASSERT_TRUE(log.open(QIODevice::Append));
    log.write("2026/11/22 9:5:3.7 - In Check Status Method\r\n2026/11/22 9:5:3.8 - CHECK STATUS PRE LOCK\r\n");
    log.close();
    const ProgramResult errors = run("log --errors -n 2");
    EXPECT_EQ(errors.out.count('\n'), 2) << errors.out.toStdString();
    EXPECT_EQ(errors.out.count("**ERROR** Unable to connect to Vireo2 - "), 2) << errors.out.toStdString();
}

TEST_F(LogTest, FollowsTheDataPathOfTheWorkingDirectory)
{
    // An absolute path stands as it is; a relative one lies in the user data folder.
    const QList<QPair<QString, QString>> cases{{path("elsewhere"), path("elsewhere")},
                                               {"./mylogs", dataHome() + "/mylogs"}};
    for (const auto& [value, directory] : cases) {
        QSettings(workDirectory() + "/spectro.ini", QSettings::IniFormat).setValue("Data/Path", value);
        EXPECT_EQ(logPath(), directory + "/spectro.log");
        failToConnect();
        EXPECT_TRUE(QFile::exists(directory + "/spectro.log")) << "the library writes there too";
        EXPECT_TRUE(run("log").out.contains("Unable to connect"));
    }
}

} // namespace
} // namespace vireo2::test
