// The command exchange seen through SendCommand and the operations that use
// it: statuses, error records, transport failures and re-entry.
#include <thread>

#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;
using vireo2::sim::Fault;

namespace {

const char* const kCalPlaque = "SERIALNUM 0x00 HUGA-58812";

// Without the background poll, scripted replies meet only the exchanges of each case.
class ExchangeTest : public InstrumentTest {
protected:
    void SetUp() override
    {
        InstrumentTest::SetUp();
        connectInstrument(false);
    }
};

TEST_F(ExchangeTest, StatusesReachTheErrorRecord)
{
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), kCalPlaque);
    EXPECT_TRUE(hasError(0, "<00>"));
    struct Case { const char* command; const char* reply; int code; const char* record; };
    const Case cases[] = {
        {"probe", "PROBE 0x12", 0x12, "<00>"},  // tolerated: no error text
        {"probe", "PROBE 0x07", 7, "<07>"},     // pending
        {"probe", "PROBE 0x3c trailing words", 0x3C, "FAILED: Status Error 3C"},
        {"probe", "PROBE", -1, "FAILED: Status Error FFFFFFFF"},
        // The polled commands show their status as it came.
        {"meas done?", "MEAS 0x85", 0x85, "<85>"},
        {"scan get patchrecrefls", "SCAN 0x0a 12 patches", 10, "<0a>"},
        // "Nothing new" from a poll leaves the record as it was.
        {"meas done?", "MEAS 0x07", 10, "<0a>"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reply);
        script(c.command, c.reply);
        EXPECT_STREQ(SendCommand(c.command, 1000), "");
        EXPECT_TRUE(hasError(c.code, c.record));
    }
    // A bad reply is not a transport failure: the link stays.
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), kCalPlaque);
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
    EXPECT_TRUE(commands().isEmpty());
    // The device still counts as connected until the host reconnects.
    EXPECT_TRUE(IsConnected());
    connectInstrument();
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), kCalPlaque);
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

} // namespace
