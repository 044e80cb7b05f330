// The vireo2 commands that move files to and from the instrument, run as a
// technician runs them against the simulated instrument.
#include <QFile>

#include "cli_fixture.h"

namespace vireo2::test {
namespace {

void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST_F(CliTest, LibrariesBackupRestoreAndTheLog)
{
    write(path(QStringLiteral("lib.json")), R"({"name":"House","colours":[[50,1,2]]})");
    ASSERT_EQ(vireo2AgainstSim({"library", "add", path(QStringLiteral("lib.json"))}).exitCode, 0);
    ProgramResult result = vireo2AgainstSim({"library", "list"});
    EXPECT_EQ(result.out.trimmed(), QStringLiteral("[\"House\"]"));
    result = vireo2AgainstSim({"library", "get", "House"});
    EXPECT_EQ(result.out.trimmed(), QStringLiteral(R"({"name":"House","colours":[[50,1,2]]})"));
    EXPECT_EQ(vireo2AgainstSim({"template", "remove", "nothing"}).exitCode, 1) << "a refusal is a failure";
    // Execute cuts its line at ";": such an argument is refused, not sent cut short.
    write(path(QStringLiteral("semi.json")), R"({"name":"A;B"})");
    result = vireo2AgainstSim({"library", "add", path(QStringLiteral("semi.json"))});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(QStringLiteral("cannot contain \";\""))) << result.err.toStdString();

    ASSERT_EQ(vireo2AgainstSim({"backup", path(QStringLiteral("one.clone"))}).exitCode, 0);
    ASSERT_EQ(vireo2AgainstSim({"library", "remove", "House"}).exitCode, 0);
    ASSERT_EQ(vireo2AgainstSim({"restore", path(QStringLiteral("one.clone"))}).exitCode, 0);
    ASSERT_EQ(vireo2AgainstSim({"backup", path(QStringLiteral("two.clone"))}).exitCode, 0);
    EXPECT_EQ(read(path(QStringLiteral("two.clone"))), read(path(QStringLiteral("one.clone"))));
    ASSERT_EQ(vireo2AgainstSim({"backup", path(QStringLiteral("two.clone"))}).exitCode, 0);
    EXPECT_EQ(read(path(QStringLiteral("two.clone"))), read(path(QStringLiteral("one.clone"))))
        << "a backup replaces the file";

    result = vireo2AgainstSim({"instrument-log"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.out.contains(QStringLiteral("colorlibrary add JSON")));
}

TEST_F(CliTest, ScreenshotAndFirmware)
{
    ASSERT_EQ(vireo2AgainstSim({"screenshot", path(QStringLiteral("screen.bmp"))}).exitCode, 0);
    EXPECT_TRUE(read(path(QStringLiteral("screen.bmp"))).startsWith("BM"));
    EXPECT_EQ(vireo2AgainstSim({"screenshot", path(QStringLiteral("screen.png"))}).exitCode, 2);

    control(QStringLiteral("digest 50"));
    write(path(QStringLiteral("fw.bin")), "VIREO2-FW 3.0.1\n" + QByteArray(5000, 'x'));
    const ProgramResult result = vireo2AgainstSim({"firmware", path(QStringLiteral("fw.bin"))});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.out.trimmed(), QStringLiteral("Firmware updated: 3.0.1"));
}

} // namespace
} // namespace vireo2::test
