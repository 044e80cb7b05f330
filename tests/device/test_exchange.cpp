// The command exchange seen through SendCommand and the operations that use
// it: statuses, error records, transport failures and re-entry.
#include <QThread>
#include <thread>

#include "instrument_fixture.h"
#include "vireo2.h"

using namespace vireo2::test;
using vireo2::sim::Fault;

namespace {

class ExchangeTest : public InstrumentTest {
protected:
    void SetUp() override
    {
        InstrumentTest::SetUp();
        connectInstrument();
        // Keep the background poll out of the scripted exchanges.
        ASSERT_TRUE(SetConfiguration("STOP_POLL"));
    }

    void script(const QByteArray& command, const QByteArray& reply)
    {
        sim_.faults().add(Fault::on(command).replying(reply));
    }
};

TEST_F(ExchangeTest, SendCommandReturnsTheRawReplyOnSuccess)
{
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), "SERIALNUM 0x00 HUGA-58812");
    EXPECT_EQ(GetLastErrorCode(), 0);
}

TEST_F(ExchangeTest, ToleratedStatus12IsReturnedWithoutAnErrorRecord)
{
    script("probe", "PROBE 0x12");
    EXPECT_STREQ(SendCommand("probe", 1000), "");
    EXPECT_EQ(GetLastErrorCode(), 0x12);
    EXPECT_STREQ(GetLastErrorString(), "<00>");
}

TEST_F(ExchangeTest, Status07OfAnOrdinaryCommandReadsAsPending)
{
    script("probe", "PROBE 0x07");
    EXPECT_STREQ(SendCommand("probe", 1000), "");
    EXPECT_EQ(GetLastErrorCode(), 7);
    EXPECT_STREQ(GetLastErrorString(), "<07>");
}

TEST_F(ExchangeTest, InstrumentErrorStatusIsRecorded)
{
    script("probe", "PROBE 0x3c trailing words");
    EXPECT_STREQ(SendCommand("probe", 1000), "");
    EXPECT_EQ(GetLastErrorCode(), 0x3C);
    EXPECT_STREQ(GetLastErrorString(), "FAILED: Status Error 3C");
}

TEST_F(ExchangeTest, ReplyWithoutStatusIsMinusOne)
{
    script("probe", "PROBE");
    EXPECT_STREQ(SendCommand("probe", 1000), "");
    EXPECT_EQ(GetLastErrorCode(), -1);
    EXPECT_STREQ(GetLastErrorString(), "FAILED: Status Error FFFFFFFF");
    // A bad reply is not a transport failure: the link stays.
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), "SERIALNUM 0x00 HUGA-58812");
}

TEST_F(ExchangeTest, PolledCommandsShowTheirStatusInTheRecord)
{
    script("meas done?", "MEAS 0x85");
    EXPECT_STREQ(SendCommand("meas done?", 1000), "");
    EXPECT_EQ(GetLastErrorCode(), 0x85);
    EXPECT_STREQ(GetLastErrorString(), "<85>");

    script("scan get patchrecrefls", "SCAN 0x0a 12 patches");
    EXPECT_STREQ(SendCommand("scan get patchrecrefls", 1000), "");
    EXPECT_EQ(GetLastErrorCode(), 10);
    EXPECT_STREQ(GetLastErrorString(), "<0a>");

    // "Nothing new" from a poll leaves the record as it was.
    script("meas done?", "MEAS 0x07");
    EXPECT_STREQ(SendCommand("meas done?", 1000), "");
    EXPECT_EQ(GetLastErrorCode(), 10);
}

TEST_F(ExchangeTest, InProgressReplyIsPolledToTheEnd)
{
    sim_.faults().add(Fault::on("probe").withProgress(50, 20000, 3, QByteArray("PROBE 0x00 done")));
    EXPECT_STREQ(SendCommand("probe now", 1000), "PROBE 0x00 done");
    EXPECT_EQ(count("probe done?"), 3);
}

TEST_F(ExchangeTest, TransportFailureOnAnOrdinaryCommandClosesThePort)
{
    // A reply whose length field does not match breaks the framing.
    sim_.faults().add(Fault::on("probe").withLengthField(2));
    EXPECT_STREQ(SendCommand("probe", 1000), "");
    EXPECT_EQ(GetLastErrorCode(), 0x5007);
    EXPECT_TRUE(sim_.waitForClientCount(0, 2000));
    clearCommands();
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), "");
    EXPECT_EQ(GetLastErrorCode(), 0x5001);
    EXPECT_STREQ(GetLastErrorString(), "FAILED Send: NOT Connected");
    EXPECT_TRUE(commands().isEmpty());
    // The device still counts as connected until the host reconnects.
    EXPECT_TRUE(IsConnected());
    connectInstrument();
    EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), "SERIALNUM 0x00 HUGA-58812");
}

TEST_F(ExchangeTest, TransportFailureOnPolledCommandsKeepsThePort)
{
    for (const char* polled : {"meas done?", "button triggered?", "scan get refls", "spectro system state"}) {
        sim_.faults().add(Fault::on(polled).withLengthField(2));
        EXPECT_STREQ(SendCommand(polled, 1000), "");
        EXPECT_EQ(GetLastErrorCode(), 0x5007) << polled;
        EXPECT_STREQ(SendCommand("SerialNum Get Cal", 0), "SERIALNUM 0x00 HUGA-58812") << polled;
    }
    EXPECT_EQ(sim_.clientCount(), 1);
}

TEST_F(ExchangeTest, SecondExchangeDuringALongOneIsRefusedWithoutDisturbingIt)
{
    control(QStringLiteral("calibration valid"));
    control(QStringLiteral("measure time 900"));
    bool measured = false;
    std::thread host([&] { measured = Measure(); });
    ASSERT_TRUE(sim_.waitForCommand("Meas Run", 2000));
    // BlackCal takes no lock: it meets the running exchange.
    EXPECT_FALSE(BlackCal());
    EXPECT_EQ(GetLastErrorCode(), 0x501E);
    EXPECT_STREQ(GetLastErrorString(), "Operation in progress.");
    host.join();
    EXPECT_TRUE(measured) << lastError();
    EXPECT_EQ(count("CalBlack"), 0);
    EXPECT_TRUE(IsConnected());
    EXPECT_TRUE(BlackCal());
}

} // namespace
