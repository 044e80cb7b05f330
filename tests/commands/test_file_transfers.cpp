// Clones, the firmware update and correction profiles through Execute,
// against the simulated instrument.
#include <QDir>
#include <QFile>
#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <cstring>

#include "commands/profile_file.h"
#include "execute_fixture.h"

namespace vireo2::test {
namespace {

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// A profile file with known values: version, an OLE date, two variable
// blocks, and table value i = base + i / 10.
QByteArray profileBytes(float version, double oleDate, int block1, int block2, float base)
{
    // Real files carry more after the table; the smallest usable is 1,656 bytes.
    QByteArray bytes(std::max(33 + block1 + block2 + 1600, 1656), '\0');
    auto put = [&](int at, const void* value, int size) { std::memcpy(bytes.data() + at, value, size_t(size)); };
    put(0, &version, 4);
    qToLittleEndian<qint32>(block1, bytes.data() + 16);
    put(20 + block1, &oleDate, 8);
    qToLittleEndian<qint32>(block2, bytes.data() + 29 + block1);
    for (int i = 0; i < 400; ++i) {
        const float value = base + float(i) / 10.0f;
        put(33 + block1 + block2 + 4 * i, &value, 4);
    }
    return bytes;
}

class FileTransferTest : public ExecuteTest {
protected:
    QString path(const QString& name) const { return env_.root() + QLatin1Char('/') + name; }
};

TEST_F(FileTransferTest, BackupRestoreBackupGivesTheSameBytesAndSavingAppends)
{
    control(QStringLiteral("chunk 200"));
    ASSERT_EQ(exec(QStringLiteral("addlibrary;{\"name\":\"Spot colours\",\"colours\":[1,2,3]}")), QStringLiteral("COLORLIBRARY 0x00"));
    ASSERT_EQ(exec(QStringLiteral("instrument set name Press 4")), QStringLiteral("<00>"));
    EXPECT_EQ(exec(QStringLiteral("userprofileget;") + path(QStringLiteral("one.clone"))), QStringLiteral("CLONE 0x00"));
    const QByteArray first = readFile(path(QStringLiteral("one.clone")));
    ASSERT_GT(first.size(), 200) << "several chunks";

    ASSERT_EQ(exec(QStringLiteral("libraryclear;Spot colours")), QStringLiteral("COLORLIBRARY 0x00"));
    ASSERT_EQ(exec(QStringLiteral("instrument set name Other")), QStringLiteral("<00>"));
    EXPECT_EQ(exec(QStringLiteral("userprofileset;") + path(QStringLiteral("one.clone"))), QStringLiteral("CLONE 0x00"));
    EXPECT_EQ(exec(QStringLiteral("getlibrary")), QStringLiteral("[\"Spot colours\"]"));
    EXPECT_EQ(exec(QStringLiteral("userprofileget;") + path(QStringLiteral("two.clone"))), QStringLiteral("CLONE 0x00"));
    EXPECT_EQ(readFile(path(QStringLiteral("two.clone"))), first);

    // Saving onto an existing file extends it.
    EXPECT_EQ(exec(QStringLiteral("userprofileget;") + path(QStringLiteral("two.clone"))), QStringLiteral("CLONE 0x00"));
    EXPECT_EQ(readFile(path(QStringLiteral("two.clone"))), first + first);
}

TEST_F(FileTransferTest, FirmwareGoesOutInPacketsEachDigested)
{
    control(QStringLiteral("digest 400"));
    QByteArray image = "VIREO2-FW 2.1.7\n" + QByteArray(1500000 - 16, 'f');
    writeFile(path(QStringLiteral("fw a.bin")), image);
    EXPECT_EQ(exec(QStringLiteral("systemupdate;") + path(QStringLiteral("fw a.bin"))), QStringLiteral("SYSTEM 0x00"));
    QList<QByteArray> packets;
    int polls = 0;
    for (const QByteArray& command : sent()) {
        if (command.startsWith("system update"))
            packets << command.left(command.indexOf('|') + 1);
        polls += command == "system done?";
    }
    EXPECT_EQ(packets, (QList<QByteArray>{"system update 1 ! |", "system update 0 |"}));
    EXPECT_GE(polls, 4) << "the instrument answers 0x05 while it digests";
    EXPECT_TRUE(log().contains(QStringLiteral("SYSTEM UPDATE SENDING PACKET: 1 of 2")));
    EXPECT_TRUE(log().contains(QStringLiteral("Transfer of update file to device completed sucessfully.")));
    EXPECT_EQ(exec(QStringLiteral("sendcommand version")).right(5), QStringLiteral("2.1.7"));

    // Blank-separated words after the command run together behind word 1.
    EXPECT_EQ(exec(QStringLiteral("systemupdate C:/fw a.bin")), QStringLiteral("SYSTEM 0x00"));
    EXPECT_TRUE(log().contains(QStringLiteral("FILE PATH C:/fwC:/fwa.bin")));
    // A bad packet status ends the update.
    sim_.faults().add(sim::Fault::on("system").replying("SYSTEM 0x31"));
    EXPECT_EQ(exec(QStringLiteral("systemupdate;") + path(QStringLiteral("fw a.bin"))), QStringLiteral("SYSTEM 0x01"));
    EXPECT_TRUE(log().contains(QStringLiteral("BAD STATUS: 49")));
}

TEST_F(FileTransferTest, ProfilePairIsStoredWithItsExactCommands)
{
    writeFile(path(QStringLiteral("press.pro")), profileBytes(1.25f, 45000.5, 7, 3, 1.0f));
    writeFile(path(QStringLiteral("press.pr2")), profileBytes(2.5f, 45000.5, 0, 0, 100.0f));
    EXPECT_EQ(exec(QStringLiteral("storeprofile;") + path(QStringLiteral("press.pro"))), QStringLiteral("<00>"));
    const QList<QByteArray> commands = sent();
    ASSERT_EQ(commands.size(), 26);
    EXPECT_EQ(commands[0], QByteArray("NetAdjuster set version 1.25"));
    EXPECT_EQ(commands[1], QByteArray("NetAdjuster set whencreated 03 15 23 12 00 00"));
    // White M0: the file's first condition, value 160 + 4k for k = 4..34.
    EXPECT_TRUE(commands[2].startsWith("NetAdjuster set M0 White 18.6 19 19.4 "));
    EXPECT_EQ(commands[2].count(' '), 3 + 31) << "31 values, each after one blank";
    EXPECT_TRUE(commands[3].startsWith("NetAdjuster set M1 White 2.6 3 3.4 "));
    EXPECT_TRUE(commands[10].startsWith("NetAdjuster set M0 Bandwidth 37.4 37.5 "));
    EXPECT_TRUE(commands[11].startsWith("NetAdjuster set M1 Bandwidth 33.4 33.5 "));
    EXPECT_EQ(commands[12], QByteArray("NetAdjuster set version 2.50"));
    EXPECT_TRUE(commands[14].startsWith("NetAdjuster set M2 White "));
    EXPECT_EQ(commands[24], QByteArray("NetAdjuster Store"));
    const QString retrieved = exec(QStringLiteral("retrieveprofile"));
    EXPECT_TRUE(retrieved.startsWith(QStringLiteral("M0 White 18.6 19 19.4"))) << retrieved.left(60).toStdString();
    EXPECT_EQ(retrieved.count(QLatin1Char('\n')), 19);
}

TEST_F(FileTransferTest, ProfileFilesThatCannotBeUsed)
{
    writeFile(path(QStringLiteral("short.pro")), profileBytes(1.0f, 45000.5, 0, 0, 1.0f).left(1655));
    EXPECT_EQ(exec(QStringLiteral("storeprofile;") + path(QStringLiteral("short.pro"))), QString());
    EXPECT_TRUE(hasError(20509, "FAILED storeProfile: Invalid NetProfile"));
    QByteArray lying = profileBytes(1.0f, 45000.5, 0, 0, 1.0f);
    qToLittleEndian<qint32>(-5, lying.data() + 16);
    writeFile(path(QStringLiteral("lying.pro")), lying);
    EXPECT_EQ(exec(QStringLiteral("storeprofile;") + path(QStringLiteral("lying.pro"))), QString());
    EXPECT_TRUE(hasError(20509, "FAILED storeProfile: Invalid NetProfile"));
    qToLittleEndian<qint32>(1 << 30, lying.data() + 16);
    writeFile(path(QStringLiteral("lying.pro")), lying);
    EXPECT_EQ(exec(QStringLiteral("storeprofile;") + path(QStringLiteral("lying.pro"))), QString());
    EXPECT_TRUE(hasError(20509, "FAILED storeProfile: Invalid NetProfile"));

    // A date no calendar holds.
    writeFile(path(QStringLiteral("undated.pro")), profileBytes(1.0f, std::nan(""), 0, 0, 1.0f));
    EXPECT_EQ(exec(QStringLiteral("storeprofile;") + path(QStringLiteral("undated.pro"))), QString());
    EXPECT_TRUE(hasError(20509, "FAILED storeProfile: Invalid NetProfile"));

    // Files whose fields no profile holds: all zeros (version 0, created
    // 1899), a year the instrument's two digits cannot take, a value that
    // is not a number, and an endless device. None reaches the instrument.
    QByteArray nan = profileBytes(1.0f, 45000.5, 0, 0, 1.0f);
    const float notANumber = std::nanf("");
    nan.replace(33 + 4 * (160 + 4 * 10), 4, reinterpret_cast<const char*>(&notANumber), 4);
    const QList<QPair<QString, QByteArray>> impossible{
        {"zeros.pro", QByteArray(64 * 1024, '\0')},
        {"year2100.pro", profileBytes(1.0f, 73051.5, 0, 0, 1.0f)},
        {"version0.pro", profileBytes(0.0f, 45000.5, 0, 0, 1.0f)},
        {"nan.pro", nan},
        {"huge.pro", profileBytes(1.0f, 45000.5, 0, 0, 1.0f) + QByteArray(1024 * 1024, '\0')},
    };
    clearCommands();
    for (const auto& [name, bytes] : impossible) {
        writeFile(path(name), bytes);
        writeFile(path(QString(name).replace(QLatin1String(".pro"), QLatin1String(".pr2"))), bytes);
        EXPECT_EQ(exec(QStringLiteral("storeprofile;") + path(name)), QString()) << name.toStdString();
        EXPECT_TRUE(hasError(20509, "FAILED storeProfile: Invalid NetProfile")) << name.toStdString();
    }
    EXPECT_EQ(exec(QStringLiteral("storeprofile;/dev/zero")), QString());
    EXPECT_TRUE(hasError(20509, "FAILED storeProfile: Invalid NetProfile"));
    EXPECT_TRUE(sent().isEmpty());
    EXPECT_EQ(GetOption("netadjuster"), std::string("OFF"));

    // A missing companion fails after M0 and M1 went out (from a file of
    // exactly 1,656 bytes), and nothing is stored.
    writeFile(path(QStringLiteral("alone.pro")), profileBytes(1.0f, 45000.5, 0, 0, 1.0f));
    clearCommands();
    EXPECT_EQ(exec(QStringLiteral("storeprofile;") + path(QStringLiteral("alone.pro"))), QString());
    EXPECT_TRUE(hasError(20500, "FAILED storeProfile: Invalid path"));
    EXPECT_EQ(sent().size(), 12);
    EXPECT_EQ(count("NetAdjuster Store"), 0);
    EXPECT_EQ(ProfileFile::fromOleDate(45000.5), QDateTime(QDate(2023, 3, 15), QTime(12, 0)));
}

// Firmware images and clones are refused, unread, above 256 MiB (a sparse
// file: its size is all that is looked at).
TEST_F(FileTransferTest, TransferFilesLargerThanAnyImageAreRefusedUnsent)
{
    QFile huge(path(QStringLiteral("huge.bin")));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly));
    ASSERT_TRUE(huge.resize(256 * 1024 * 1024 + 1));
    huge.close();
    EXPECT_EQ(exec(QStringLiteral("systemupdate;") + huge.fileName()), QStringLiteral("SYSTEM 0x01"));
    EXPECT_EQ(GetLastErrorCode(), 20503);
    EXPECT_TRUE(std::string(GetLastErrorString()).find("FAILED systemUpdate: File larger than 268435456 bytes") == 0)
        << GetLastErrorString();
    EXPECT_EQ(exec(QStringLiteral("userprofileset;") + huge.fileName()), QString());
    EXPECT_EQ(GetLastErrorCode(), 20503);
    EXPECT_TRUE(sent().isEmpty());
}

} // namespace
} // namespace vireo2::test
