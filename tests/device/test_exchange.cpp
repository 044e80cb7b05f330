// The command exchange seen through SendCommand and the operations that use
// it: statuses, error records, transport failures and re-entry.
#include <QElapsedTimer>
#include <cstring>
#include <string>
#include <QThread>
#include <thread>

#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;
using vireo2::sim::Fault;

namespace {

const char* const kCalPlaque = "SERIALNUM 0x00 HUGA-58812";

struct StatusCase {
    const char* command;
    const char* reply;
    int code;
    const char* record;
};

// Without the background poll, scripted replies meet only the exchanges of each case.
class ExchangeTest : public InstrumentTest {
protected:
    void SetUp() override
    {
        InstrumentTest::SetUp();
        connectInstrument(false);
    }

    // Scripts each reply, sends its command and checks the error pair it leaves.
    template <size_t N>
    void expectRecords(const StatusCase (&cases)[N])
    {
        for (const StatusCase& c : cases) {
            SCOPED_TRACE(c.reply);
            script(c.command, c.reply);
            EXPECT_STREQ(SendCommand(c.command, 1000), "");
            EXPECT_TRUE(hasError(c.code, c.record));
        }
    }
};

TEST_F(ExchangeTest, StatusesReachTheErrorRecord)
{
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), kCalPlaque);
    EXPECT_TRUE(hasError(0, "<00>"));
    // Without debug logging, "nothing new" (7) is an ordinary status: the
    // polled commands show it as "<07>", the others change only the code.
    const StatusCase cases[] = {
        {"probe", "PROBE 0x12", 0x12, "<12>"},  // tolerated: not an error
        {"probe", "PROBE 0x07", 7, "<07>"},
        {"probe", "PROBE 0x3c trailing words", 0x3C, "FAILED: Status Error 3C"},
        {"probe", "PROBE", -1, "FAILED: Status Error FFFFFFFF"},
        // The polled commands show their status as it came.
        {"meas done?", "MEAS 0x85", 0x85, "<85>"},
        {"scan get patchrecrefls", "SCAN 0x0a 12 patches", 10, "<0a>"},
        {"scan done?", "SCAN 0x07", 7, "<07>"},
        {"meas done?", "MEAS 0x07", 7, "<07>"},
        {"probe", "PROBE 0x3c", 0x3C, "FAILED: Status Error 3C"},
        {"scan get refls", "SCAN 0x07", 7, "<07>"},
    };
    expectRecords(cases);
    // A bad reply is not a transport failure: the link stays. A success
    // leaves a record that says so, not the last failure's text.
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), kCalPlaque);
    EXPECT_TRUE(hasError(0, "<00>"));
}

class DebugExchangeTest : public ExchangeTest {
protected:
    void prepare() override { env_.writeLogOptions({{QStringLiteral("Options/Debug"), QStringLiteral("1")}}); }
};

// With debug logging, a poll's "nothing new" is logged once and leaves the
// record as it was; any other command shows "<07>".
TEST_F(DebugExchangeTest, PendingStatusIsSettledBeforeTheOrdinaryPaths)
{
    const StatusCase cases[] = {
        {"probe", "PROBE 0x07", 7, "<07>"},
        {"meas done?", "MEAS 0x85", 0x85, "<85>"},
        {"meas done?", "MEAS 0x07", 0x85, "<85>"},
        {"meas done?", "MEAS 0x07", 0x85, "<85>"},
        {"scan get refls", "SCAN 0x07", 0x85, "<85>"},
        {"button triggered?", "BUTTON 0x07", 0x85, "<85>"},
    };
    const int connectionLog = log().size();
    expectRecords(cases);
    const QString logged = log().mid(connectionLog);
    EXPECT_EQ(logged.count(QStringLiteral("SEND:meas done? - RECV:MEAS 0x07")), 1) << logged.toStdString();
    EXPECT_EQ(logged.count(QStringLiteral("SEND:probe - RECV:PROBE 0x07")), 1);
}

TEST_F(ExchangeTest, TransportFailureClosesThePortExceptForPolledCommands)
{
    // A reply whose length field does not match breaks the framing.
    for (const char* polled : {"meas done?", "button triggered?", "scan get refls", "spectro system state"}) {
        sim_.faults().add(Fault::on(polled).withLengthField(2));
        EXPECT_STREQ(SendCommand(polled, 1000), "");
        EXPECT_EQ(GetLastErrorCode(), 0x5007) << polled;
        EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), kCalPlaque) << polled;
    }
    EXPECT_EQ(sim_.clientCount(), 1);

    sim_.faults().add(Fault::on("probe").withLengthField(2));
    EXPECT_STREQ(SendCommand("probe", 1000), "");
    EXPECT_EQ(GetLastErrorCode(), 0x5007);
    EXPECT_TRUE(sim_.waitForClientCount(0, 2000));
    clearCommands();
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), "");
    EXPECT_TRUE(hasError(0x5001, "FAILED Send: NOT Connected"));
    // Operations name the closed link, not bad data or a bare code; the
    // status query keeps the code its callers know.
    EXPECT_EQ(GetCalStatus(), -1);
    EXPECT_TRUE(hasError(0x501A, "Cal Query Status returned invalid data - no reply: FAILED Send: NOT Connected"));
    EXPECT_FALSE(Measure());
    EXPECT_TRUE(hasError(0x5000, "FAILED Measure:  FAILED Send: NOT Connected"));
    EXPECT_TRUE(commands().isEmpty());
    // The device still counts as connected until the host reconnects.
    EXPECT_TRUE(IsConnected());
    connectInstrument();
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), kCalPlaque);
}

// A polled command's read gives up (3 s and the link's readiness rounds: 4 s)
// but keeps the link; its reply still comes. Whether it is already waiting
// when the next command goes out or arrives while that command waits, it
// never stands in for that command's reply.
TEST_F(ExchangeTest, LateReplyNeverAnswersTheNextCommand)
{
    for (const int lateByMs : {5000, 4900}) {
        SCOPED_TRACE(lateByMs);
        sim_.faults().add(Fault::on("spectro system state").delayedBy(lateByMs));
        EXPECT_STREQ(SendCommand("spectro system state", 3000), "");
        if (lateByMs < 5000)
            QThread::msleep(1000);  // the late reply is in before the next command leaves
        EXPECT_STREQ(SendCommand("SerialNum Get Cal", 3000), kCalPlaque);
        EXPECT_EQ(std::string(SendCommand("spectro system state", 3000)).rfind("SPECTRO 0x00 ", 0), 0u);
    }
    EXPECT_EQ(sim_.clientCount(), 1);
}

TEST_F(ExchangeTest, SecondExchangeDuringALongOneIsRefusedWithoutDisturbingIt)
{
    sim_.faults().add(Fault::on("slow").replying("SLOW 0x00 late").delayedBy(800));
    std::string answer;
    std::thread host([&] { answer = SendCommand("slow", 3000); });
    ASSERT_TRUE(sim_.waitForCommand("slow", 2000));
    // BlackCal takes no lock: after a brief wait it meets the running exchange.
    EXPECT_FALSE(BlackCal());
    EXPECT_TRUE(hasError(0x501E, "Operation in progress."));
    host.join();
    EXPECT_EQ(answer, "SLOW 0x00 late");
    EXPECT_EQ(count("CalBlack"), 0);
    EXPECT_TRUE(IsConnected());
    EXPECT_TRUE(BlackCal());
}

// An instrument that answers every "done?" with status 5 is given up after
// the overall deadline (its announced delay and wait plus 5 s, at least 10 s),
// with a timeout error; the lock is free again at once.
TEST_F(ExchangeTest, EndlessInProgressPollingEndsAtItsDeadline)
{
    sim_.faults().add(Fault::on("slowop").withProgress(100, 1000, 1000000));
    QElapsedTimer timer;
    timer.start();
    EXPECT_STREQ(SendCommand("slowop now", 1000), "");
    const qint64 elapsed = timer.elapsed();
    EXPECT_GE(elapsed, 9500);
    EXPECT_LT(elapsed, 13000);
    EXPECT_EQ(GetLastErrorCode(), 0x5005);
    EXPECT_TRUE(QString::fromUtf8(GetLastErrorString()).startsWith("Receive: TIMEOUT - slowop still in progress after "))
        << GetLastErrorString();
    EXPECT_GT(count("slowop done?"), 50);
    timer.restart();
    SendCommand("SerialNum Get Cal", 0); // takes the lock; the port may be closed, but it answers at once
    EXPECT_LT(timer.elapsed(), 2000);
}

// A caller's timeout is honoured up to the longest any reply is waited for
// (30 s): a silent instrument does not hold SendCommand (nor Execute's
// sendcommand, which runs the same operation) for the 24 days that INT_MAX
// milliseconds would be.
TEST_F(ExchangeTest, SilentInstrumentIsWaitedForAtMostTheLongestReplyWait)
{
    sim_.faults().add(Fault::on("hush").silently());
    QElapsedTimer timer;
    timer.start();
    EXPECT_STREQ(SendCommand("hush", 2147483647), "");
    EXPECT_GE(timer.elapsed(), 30000);
    EXPECT_LT(timer.elapsed(), 35000);  // plus at most the link's two 2 s readiness rounds
    // A TCP read that timed out is reported as the empty packet it left.
    EXPECT_TRUE(hasError(0x5006, "RecvPacket: Incorrect Packet length"));
}


// The simulator's blob: N bytes of "b", every 64th a digit counting up.
QByteArray blob(int size)
{
    QByteArray bytes(size, 'b');
    for (int i = 0; i < size; i += 64)
        bytes[i] = char('0' + (i / 64) % 10);
    return bytes;
}

// Large replies are read straight into the caller's text buffer. Whatever
// the order of SendCommand (whole reply) and Execute (its value part), each
// result is the reply as sent, a pointer kept from the first large result
// shows the start of each newer one, and a later small text replaces them.
// The sizes cross the point from which a reply goes into the text buffer
// (a 1 MiB body), with the text itself just below and above the size that
// still lives in an ordinary block.
TEST_F(ExchangeTest, LargeRepliesReachTheCallerWholeWhicheverExportAsked)
{
    const char* first = SendCommand("blob get 3000000", 3000);
    ASSERT_EQ(std::strlen(first), 3000010u);
    const struct {
        bool viaExecute;
        int size;
    } calls[] = {{true, 3000000}, {true, 2500000}, {false, 2500000}, {false, 5000000}, {true, 1048565},
                 {false, 1048565}, {true, 1048566}, {false, 1048567}, {true, 4000000}};
    for (const auto& call : calls) {
        SCOPED_TRACE(std::to_string(call.size) + (call.viaExecute ? " Execute" : " SendCommand"));
        const QByteArray command = "blob get " + QByteArray::number(call.size);
        const QByteArray expected = call.viaExecute ? blob(call.size) : "BLOB 0x00 " + blob(call.size);
        const char* text = call.viaExecute ? Execute(command.constData()) : SendCommand(command.constData(), 3000);
        ASSERT_EQ(std::strlen(text), size_t(expected.size()));
        EXPECT_TRUE(std::memcmp(text, expected.constData(), size_t(expected.size())) == 0);
        const size_t shown = std::strlen(first);
        EXPECT_GT(shown, 1000u);
        EXPECT_TRUE(std::memcmp(first, expected.constData(), shown) == 0) << "the kept pointer shows the newer text";
        EXPECT_TRUE(hasError(0, "<00>"));  // a text result of its own
    }
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), kCalPlaque);
    EXPECT_STREQ(first, kCalPlaque);
}

// A large reply that fails, or comes only after "in progress" polls, is
// read into the buffer like any other: the failure answers empty text, the
// polled reply arrives whole.
TEST_F(ExchangeTest, LargeRepliesAfterPollsOrWithAFailingStatus)
{
    const QByteArray large = blob(2000000);
    script("probe", "PROBE 0x3c " + large);
    EXPECT_STREQ(SendCommand("probe", 3000), "");
    EXPECT_TRUE(hasError(0x3C, "FAILED: Status Error 3C"));
    script("probe", "PROBE 0x3c " + large);
    EXPECT_STREQ(Execute("probe"), "");
    EXPECT_TRUE(hasError(0x3C, "FAILED: Status Error 3C"));

    sim_.faults().add(Fault::on("bigop").withProgress(10, 1000, 2, "BIGOP 0x00 " + large));
    const char* text = Execute("bigop now");
    ASSERT_EQ(std::strlen(text), size_t(large.size()));
    EXPECT_TRUE(std::memcmp(text, large.constData(), size_t(large.size())) == 0);
}

} // namespace
