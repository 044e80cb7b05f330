// Line formats, flags, rotation and the error record of the communication log.
#include <gtest/gtest.h>

#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <QStringList>
#include <QFileInfo>
#include <atomic>
#include <clocale>
#include <thread>
#include <vector>

#include "settings/log_helper.h"
#include "test_environment.h"

using namespace vireo2;
using test::TestEnvironment;

namespace {

class LogHelperTest : public ::testing::Test {
protected:
    // Lines of the log without their timestamps.
    QStringList messages() const
    {
        QStringList result;
        const QString text = TestEnvironment::readFile(env_.logFile());
        for (const QString& line : text.split(QStringLiteral("\r\n"), Qt::SkipEmptyParts))
            result << line.section(QStringLiteral(" - "), 1);
        return result;
    }

    TestEnvironment env_;
};

TEST_F(LogHelperTest, TimestampHasNoPadding)
{
    LogHelper log;
    log.WriteLine(QStringLiteral("hello"));
    const QString text = TestEnvironment::readFile(env_.logFile());
    const QRegularExpression line(QStringLiteral(R"(^[1-9]\d{3}/[1-9]\d?/[1-9]\d? ([1-9]?\d):([1-9]?\d):([1-9]?\d)\.([1-9]?\d?\d) - hello\r\n$)"));
    EXPECT_TRUE(line.match(text).hasMatch()) << qPrintable(text);
}

TEST_F(LogHelperTest, LinesAlreadyEndingInCrLfAreNotDoubled)
{
    LogHelper log;
    log.WriteLine(QStringLiteral("one\r\n"));
    log.WriteLine(QString());  // an empty message still makes a line: "<time> - "
    EXPECT_EQ(messages(), QStringList({QStringLiteral("one"), QString()}));
    EXPECT_EQ(TestEnvironment::readFile(env_.logFile()).count(QStringLiteral("\r\n")), 2);
}

TEST_F(LogHelperTest, ErrorLineDependsOnTheExchangeSoFar)
{
    LogHelper log;
    log.LogError(5, QStringLiteral("no exchange"));
    log.setSentText(QStringLiteral("Meas Run"));
    log.setTimeout(10000);
    log.LogError(6, QStringLiteral("no reply"));
    log.setReceivedText(QStringLiteral("MEAS 0x8A"));
    log.setElapsed(120);
    log.LogError(0x8A, QStringLiteral("FAILED Measure:  Code 0x8A"));
    log.LogErrorOnly(7, QStringLiteral("alone"));
    EXPECT_EQ(messages(), QStringList({
                              QStringLiteral("**ERROR** no exchange"),
                              QStringLiteral("xx/10000 ms **ERROR** no reply- SEND:Meas Run"),
                              QStringLiteral("120/10000 ms **ERROR** FAILED Measure:  Code 0x8A - SEND:Meas Run - RECV:MEAS 0x8A"),
                              QStringLiteral("**ERROR** alone"),
                          }));
    EXPECT_EQ(log.errorCode(), 7);
    EXPECT_TRUE(log.sentText().isEmpty()) << "LogErrorOnly forgets the exchange";
}

// The same failure again within the window is counted, not written; the
// first after it is written with the count. Other kinds are not held back,
// and the record shows every occurrence.
TEST_F(LogHelperTest, RepeatedFailuresAreWrittenOnceWithACount)
{
    LogHelper log;
    for (int i = 0; i < 4; ++i) {
        log.LogErrorOnly(0x5001, QStringLiteral("FAILED Send: NOT Connected"));
        log.LogErrorOnly(0x5004, QStringLiteral("FAILED Receive: NOT Connected"));
    }
    log.LogErrorOnly(0x5001, QStringLiteral("FAILED Send: NOT Connected, elsewhere"));
    EXPECT_EQ(messages(), (QStringList{"**ERROR** FAILED Send: NOT Connected", "**ERROR** FAILED Receive: NOT Connected",
                                       "**ERROR** FAILED Send: NOT Connected, elsewhere"}));
    EXPECT_EQ(log.errorCode(), 0x5001);

    RepeatFilter filter(40);
    QString note;
    EXPECT_TRUE(filter.admit(QStringLiteral("a"), &note));
    EXPECT_TRUE(note.isEmpty());
    EXPECT_FALSE(filter.admit(QStringLiteral("a"), &note));
    EXPECT_FALSE(filter.admit(QStringLiteral("a"), &note));
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_TRUE(filter.admit(QStringLiteral("a"), &note));
    EXPECT_TRUE(note.startsWith(QLatin1String(" (repeated 2 more times since "))) << note.toStdString();
    EXPECT_FALSE(filter.admit(QStringLiteral("a"), &note));
}

TEST_F(LogHelperTest, ErrorRecordKeepsLatin1Text)
{
    LogHelper log;
    log.LogErrorOnly(-1, QStringLiteral("Temperatur 25\u00B0C"));
    EXPECT_EQ(log.errorCode(), -1);
    EXPECT_EQ(log.errorText(), QByteArray("Temperatur 25\xB0" "C"));
    log.setError(0, QStringLiteral("<00>"));
    EXPECT_EQ(log.errorText(), QByteArray("<00>"));
}

TEST_F(LogHelperTest, PrivateRecordKeepsABackgroundThreadsErrorsToItself)
{
    LogHelper log;
    LogHelper other;
    log.setError(0, QStringLiteral("<00>"));
    std::atomic<bool> recorded{false};
    std::atomic<bool> hostWrote{false};
    std::thread background([&] {
        LogHelper::PrivateErrorRecord own(log);
        EXPECT_EQ(log.errorText(), QByteArray("<00>")) << "starts from the shared record";
        log.LogError(0x5007, QStringLiteral("Receive: Invalid BCP Packet"));
        other.setError(9, QStringLiteral("another log is not affected"));
        recorded = true;
        while (!hostWrote)
            std::this_thread::yield();
        EXPECT_EQ(log.errorCode(), 0x5007) << "the thread reads its own record";
    });
    while (!recorded)
        std::this_thread::yield();
    EXPECT_EQ(log.errorCode(), 0);
    EXPECT_EQ(log.errorText(), QByteArray("<00>"));
    EXPECT_EQ(other.errorCode(), 9);
    log.setError(0x4E57, QStringLiteral("host error"));  // a host call meanwhile
    hostWrote = true;
    background.join();
    EXPECT_EQ(log.errorCode(), 0x4E57) << "the background thread's end does not overwrite it";
    EXPECT_TRUE(messages().value(0).contains(QStringLiteral("**ERROR** Receive: Invalid BCP Packet")))
        << "the failure is still logged";
}

TEST_F(LogHelperTest, ExchangeLinesDropLineBreaksAndNeverShowAccessCommands)
{
    LogHelper log;
    log.setSentText(QStringLiteral("Meas Get Refls M0\r\n"));
    log.setReceivedText(QStringLiteral("MEAS 0x00\r\n1 2"));
    log.setTimeout(5000);
    log.setElapsed(7);
    log.LogExchange();
    EXPECT_EQ(log.sentText(), QStringLiteral("Meas Get Refls M0")) << "the stored texts are cleaned too";
    log.setSentText(QStringLiteral("ACCESS secret"));
    log.LogExchange();
    EXPECT_EQ(messages(), QStringList({QStringLiteral("7/5000 ms - SEND:Meas Get Refls M0 - RECV:MEAS 0x001 2")}));
}

TEST_F(LogHelperTest, DebugFlagIsOnOnlyForOne)
{
    env_.writeLogOptions({{QStringLiteral("Options/Debug"), QStringLiteral("true")},
                          {QStringLiteral("Options/Profile"), QStringLiteral("1")},
                          {QStringLiteral("Options/ScanDebug"), QStringLiteral("1")}});
    LogHelper log;
    EXPECT_FALSE(log.debug());
    EXPECT_TRUE(log.profile());
    EXPECT_TRUE(log.scanDebug());
    EXPECT_EQ(LogHelper::sizeLimit(), LogHelper::kDefaultSizeLimit);
}

TEST_F(LogHelperTest, DebugRaisesTheSizeLimit)
{
    env_.writeLogOptions({{QStringLiteral("Options/Debug"), QStringLiteral("1")}});
    LogHelper log;
    EXPECT_TRUE(log.debug());
    EXPECT_EQ(LogHelper::sizeLimit(), LogHelper::kDebugSizeLimit);
}

TEST_F(LogHelperTest, DataPathOfTheWorkingDirectoryPlacesTheLog)
{
    env_.writeLogOptions({{QStringLiteral("Data/Path"), QStringLiteral("./logs")}});
    LogHelper relative;
    EXPECT_EQ(relative.logFilePath(), env_.dataHome() + QStringLiteral("/logs/spectro.log"));

    env_.writeLogOptions({{QStringLiteral("Data/Path"), env_.root() + QStringLiteral("/abs")}});
    LogHelper absolute;
    EXPECT_EQ(absolute.logFilePath(), env_.root() + QStringLiteral("/abs/spectro.log"));
    EXPECT_TRUE(QFileInfo(env_.root() + QStringLiteral("/abs")).isDir()) << "the directory is created";

    env_.writeLogOptions({{QStringLiteral("Data/Path"), QString()}});
    LogHelper empty;
    EXPECT_EQ(empty.logFilePath(), env_.logFile());
}

TEST_F(LogHelperTest, ProfileMarksOnlyWhenProfiling)
{
    LogHelper quiet;
    quiet.ProfileMark(QStringLiteral("OpenPort"));
    EXPECT_TRUE(messages().isEmpty());

    env_.writeLogOptions({{QStringLiteral("Options/Profile"), QStringLiteral("1")}});
    LogHelper log;
    log.ProfileMark();  // restarts the timer, writes nothing
    log.ProfileMark(QStringLiteral("OpenPort"));
    const QStringList lines = messages();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(QRegularExpression(QStringLiteral(R"(^\d+: OpenPort$)")).match(lines.first()).hasMatch())
        << qPrintable(lines.first());
}

TEST_F(LogHelperTest, OversizedFileKeepsItsNewerHalf)
{
    LogHelper log;
    QByteArray old(64001, 'a');
    for (int i = 0; i < old.size(); ++i)
        old[i] = char('a' + (i % 26));
    {
        QFile file(env_.logFile());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(old);
    }
    log.WriteLine(QStringLiteral("after rotation"));
    const QByteArray now = [&] {
        QFile file(env_.logFile());
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }();
    ASSERT_GT(now.size(), 32001);
    EXPECT_EQ(now.left(32001), old.mid(32000)) << "bytes from offset 32,000 onward";
    EXPECT_TRUE(now.endsWith(" - after rotation\r\n"));
    EXPECT_EQ(QFile(env_.logFile()).permissions() & (QFileDevice::ReadOther | QFileDevice::WriteOther), 0);
}

TEST_F(LogHelperTest, FileAtTheLimitIsNotRotated)
{
    LogHelper log;
    {
        QFile file(env_.logFile());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(64000, 'x'));
    }
    log.WriteLine(QStringLiteral("appended"));
    EXPECT_GT(QFileInfo(env_.logFile()).size(), 64000);
}

TEST_F(LogHelperTest, NumbersIgnoreTheHostLocale)
{
    std::setlocale(LC_ALL, "de_DE.UTF-8");
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    LogHelper log;
    log.setSentText(QStringLiteral("Meas Run"));
    log.setReceivedText(QStringLiteral("MEAS 0x00"));
    log.setTimeout(10000);
    log.setElapsed(12345);
    log.LogExchange();
    EXPECT_EQ(messages(), QStringList({QStringLiteral("12345/10000 ms - SEND:Meas Run - RECV:MEAS 0x00")}));
}

TEST_F(LogHelperTest, ConcurrentWritersKeepWholeLines)
{
    LogHelper log;
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t)
        writers.emplace_back([&log, t] {
            for (int i = 0; i < 200; ++i)
                log.WriteLine(QStringLiteral("writer %1 line %2").arg(t).arg(i));
        });
    for (auto& writer : writers)
        writer.join();
    const QStringList lines = messages();
    EXPECT_EQ(lines.size(), 800);
    for (const QString& line : lines)
        ASSERT_TRUE(line.startsWith(QStringLiteral("writer "))) << qPrintable(line);
}

} // namespace
