// The vireo2 commands that move files and objects to and from the
// instrument, run as a technician runs them against the simulated
// instrument: each success is checked, each failure says so and leaves no
// false file behind.
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include "cli_fixture.h"
#include "fault_script.h"

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

// A profile file: version, no variable blocks, a creation time and a table
// of 400 values (the layout the instrument's profiles have).
QByteArray profileFile()
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    out.setFloatingPointPrecision(QDataStream::SinglePrecision);
    out << float(1.25);
    out.writeRawData(QByteArray(12, '\0').constData(), 12);
    out << qint32(0);
    out.setFloatingPointPrecision(QDataStream::DoublePrecision);
    out << 45000.5;
    out.writeRawData("\0", 1);
    out << qint32(0);
    out.setFloatingPointPrecision(QDataStream::SinglePrecision);
    for (int i = 0; i < 400; ++i)
        out << float(1.0 + i / 1000.0);
    out.writeRawData(QByteArray(32, '\0').constData(), 32); // the files are longer than their table
    return bytes;
}

TEST_F(CliTest, LibrariesBackupRestoreAndTheLog)
{
    write(path(QStringLiteral("lib.json")), R"({"name":"House","colours":[[50,1,2]]})");
    ProgramResult result = vireo2AgainstSim({"library", "add", path(QStringLiteral("lib.json"))});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.out, "colour library \"House\" added\n");
    result = vireo2AgainstSim({"library", "list"});
    EXPECT_EQ(result.out.trimmed(), QStringLiteral("[\"House\"]"));
    result = vireo2AgainstSim({"library", "get", "House"});
    EXPECT_EQ(result.out.trimmed(), QStringLiteral(R"({"name":"House","colours":[[50,1,2]]})"));

    ASSERT_EQ(vireo2AgainstSim({"backup", path(QStringLiteral("one.clone"))}).exitCode, 0);
    ASSERT_EQ(vireo2AgainstSim({"library", "remove", "House"}).exitCode, 0);
    // A restore asks first; no answer is a no, and nothing is sent.
    result = vireo2AgainstSim({"restore", path(QStringLiteral("one.clone"))});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("not restored")) << result.err.toStdString();
    EXPECT_FALSE(sim_->commands().contains("clone restore"));
    result = vireo2WithInput({"restore", path(QStringLiteral("one.clone"))}, "y\n");
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains("one.clone")) << "the question names the file";
    ASSERT_EQ(vireo2AgainstSim({"library", "get", "House"}).exitCode, 0) << "the library came back";
    ASSERT_EQ(vireo2AgainstSim({"restore", "--yes", path(QStringLiteral("one.clone"))}).exitCode, 0);
    ASSERT_EQ(vireo2AgainstSim({"backup", path(QStringLiteral("two.clone"))}).exitCode, 0);
    EXPECT_EQ(read(path(QStringLiteral("two.clone"))), read(path(QStringLiteral("one.clone"))));
    ASSERT_EQ(vireo2AgainstSim({"backup", path(QStringLiteral("two.clone"))}).exitCode, 0);
    EXPECT_EQ(read(path(QStringLiteral("two.clone"))), read(path(QStringLiteral("one.clone"))))
        << "a backup replaces the file";

    result = vireo2AgainstSim({"instrument-log"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.out.contains(QStringLiteral("colorlibrary add JSON")));
}

// Names and texts the instrument could not take, or that Execute would
// answer itself, are refused before anything is sent; an unknown name is a
// failure in plain words.
TEST_F(CliTest, ObjectsTheInstrumentCannotTakeOrDoesNotHaveAreFailures)
{
    const QList<QPair<QByteArray, QString>> refused = {
        {R"({"name":"A;B"})", "cannot contain \";\""},
        {R"({"name":"Brand colours"})", "holds a blank"},
        {R"({"name":"Abort"})", "cannot contain \"Abort\""},
        {R"({"name":"Plain","note":"GetProgress"})", "cannot contain \"GetProgress\""},
        {R"({"name":"xMenu Go Home"})", "cannot contain \"Menu Go Home\""},
        {R"({"colours":[]})", "has no \"name\""},
        {R"(not json)", "is not a JSON object"},
    };
    for (const auto& [json, message] : refused) {
        write(path(QStringLiteral("object.json")), json);
        const ProgramResult result = vireo2AgainstSim({"library", "add", path(QStringLiteral("object.json"))});
        EXPECT_EQ(result.exitCode, 1) << json.toStdString();
        EXPECT_TRUE(result.err.contains(message)) << json.toStdString() << ": " << result.err.toStdString();
    }
    for (const char* name : {"IsM0M1Compliant", "IsScanRequested", "IsLaserOn"})
        EXPECT_EQ(vireo2AgainstSim({"template", "get", name}).exitCode, 1) << name;
    EXPECT_TRUE(sim_->commands().isEmpty()) << "nothing was sent";

    for (const char* action : {"get", "remove"}) {
        const ProgramResult result = vireo2AgainstSim({"library", action, "Nope"});
        EXPECT_EQ(result.exitCode, 1) << action;
        EXPECT_EQ(result.out, "") << action;
        EXPECT_TRUE(result.err.contains("the instrument has no colour library named \"Nope\"")) << result.err.toStdString();
        EXPECT_FALSE(result.err.contains("0x01")) << "raw replies only with --verbose";
    }
    const ProgramResult verbose = vireo2AgainstSim({"--verbose", "template", "remove", "nothing"});
    EXPECT_EQ(verbose.exitCode, 1);
    EXPECT_TRUE(verbose.err.contains("the instrument has no job template named \"nothing\"")) << verbose.err.toStdString();
}

// A backup that fails writes nothing and keeps an earlier file; a path that
// cannot be written is refused before the instrument is asked.
TEST_F(CliTest, FailedBackupLeavesNoFileAndKeepsTheEarlierOne)
{
    ProgramResult result = vireo2AgainstSim({"backup", path(QStringLiteral("missing/b.clone"))});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("does not exist")) << result.err.toStdString();
    EXPECT_TRUE(sim_->commands().isEmpty());

    const QString kept = path(QStringLiteral("kept.clone"));
    ASSERT_EQ(vireo2AgainstSim({"backup", kept}).exitCode, 0);
    const QByteArray before = read(kept);
    ASSERT_FALSE(before.isEmpty());
    sim_->faults().add(sim::Fault::on("clone create").replying("CLONE 0x01"));
    result = vireo2AgainstSim({"backup", kept});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.startsWith("vireo2: ") || result.err.contains("\nvireo2: ")) << result.err.toStdString();
    EXPECT_EQ(read(kept), before);
    EXPECT_EQ(QDir(path(QString())).entryList(QDir::Files | QDir::Hidden), QStringList{"kept.clone"})
        << "no partial file is left";
}

TEST_F(CliTest, ScreenshotAndFirmware)
{
    // Files that are no image are refused before connecting.
    write(path(QStringLiteral("empty.bin")), QByteArray());
    write(path(QStringLiteral("chart.svg")), "<svg xmlns=\"http://www.w3.org/2000/svg\"/>");
    for (const char* file : {"empty.bin", "chart.svg", "absent.bin"})
        EXPECT_EQ(vireo2AgainstSim({"firmware", "--yes", path(QString::fromLatin1(file))}).exitCode, 1) << file;
    EXPECT_TRUE(sim_->commands().isEmpty());

    ASSERT_EQ(vireo2AgainstSim({"screenshot", path(QStringLiteral("screen.bmp"))}).exitCode, 0);
    EXPECT_TRUE(read(path(QStringLiteral("screen.bmp"))).startsWith("BM"));
    EXPECT_EQ(vireo2AgainstSim({"screenshot", path(QStringLiteral("screen.png"))}).exitCode, 2);

    control(QStringLiteral("digest 50"));
    write(path(QStringLiteral("fw.bin")), "VIREO2-FW 3.0.1\n" + QByteArray(5000, 'x'));
    ProgramResult result = vireo2WithInput({"firmware", path(QStringLiteral("fw.bin"))}, "n\n");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("firmware " + kFirmware)) << "the question shows the version: " << result.err.toStdString();
    EXPECT_FALSE(result.err.contains("packets")) << "one packet";
    for (const QByteArray& command : sim_->commands())
        EXPECT_FALSE(command.startsWith("system update")) << "nothing was sent without a yes";

    // An image the instrument takes without changing its version is no update.
    write(path(QStringLiteral("junk.bin")), QByteArray(3000, 'j'));
    result = vireo2AgainstSim({"firmware", "--yes", path(QStringLiteral("junk.bin"))});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("still reports firmware " + kFirmware)) << result.err.toStdString();

    sim_->faults().add(sim::Fault::on("system").replying("SYSTEM 0x02"));
    result = vireo2AgainstSim({"firmware", "--yes", path(QStringLiteral("fw.bin"))});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("failed\n")) << "the progress line says so: " << result.err.toStdString();
    EXPECT_TRUE(result.err.contains("the instrument refused a packet")) << result.err.toStdString();

    result = vireo2AgainstSim({"firmware", "--yes", path(QStringLiteral("fw.bin"))});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains("packet 1 of 1")) << "each packet shows: " << result.err.toStdString();
    EXPECT_EQ(result.out.trimmed(), "Firmware updated: " + kFirmware + " -> 3.0.1");
}

// A profile file that holds no correction is refused before connecting; a
// stored one is read back as the instrument's state, which status shows too.
TEST_F(CliTest, ProfilesAreCheckedBeforeAndAfterTheyAreStored)
{
    write(path(QStringLiteral("good.pro")), profileFile());
    write(path(QStringLiteral("good.pr2")), profileFile());
    ProgramResult stored = vireo2AgainstSim({"profile", "store", path(QStringLiteral("good.pro"))});
    ASSERT_EQ(stored.exitCode, 0) << stored.err.toStdString();
    EXPECT_EQ(stored.out, "Profile stored; NetAdjuster is ON\n");
    EXPECT_TRUE(vireo2AgainstSim({"status"}).out.contains(QRegularExpression("NetAdjuster +ON\n")));
    const auto sent = sim_->commands().size();

    write(path(QStringLiteral("zero.pro")), QByteArray(2000, '\0'));
    write(path(QStringLiteral("zero.pr2")), QByteArray(2000, '\0'));
    const ProgramResult result = vireo2AgainstSim({"profile", "store", path(QStringLiteral("zero.pro"))});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("not a NetAdjuster profile")) << result.err.toStdString();
    EXPECT_EQ(sim_->commands().size(), sent) << "nothing more was sent";
}

} // namespace
} // namespace vireo2::test
