// The command exchange over TCP: "done?" polling, its pacing, the busy flag
// and what a silent instrument leaves in the error state.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QThread>
#include <atomic>
#include <thread>

#include "echo_instrument.h"
#include "sim_server.h"
#include "transport/ethernet_transport.h"

using vireo2::CEthernet;
using vireo2::sim::Fault;
using vireo2::sim::SimServer;

namespace {

class EthernetExchangeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sim.start());
        ASSERT_TRUE(transport.OpenPort(sim.address()));
    }

    SimServer sim{vireo2::test::EchoInstrument::create()};
    CEthernet transport;
    QByteArray reply;
};

TEST_F(EthernetExchangeTest, PollsWithFirstWordUntilStatusIsNoLongerFive)
{
    sim.faults().add(Fault::on("meas run").withProgress(400, 20000, 3, QByteArray("MEAS 0x00 done")));
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(transport.SendReceive("Meas Run", reply, 1000, 0));
    EXPECT_EQ(reply, QByteArray("MEAS 0x00 done"));
    const QList<QByteArray> expected{"Meas Run", "Meas done?", "Meas done?", "Meas done?"};
    EXPECT_EQ(sim.commands(), expected);

    // The instrument's delay before the first poll, 100 ms between the others.
    const QList<qint64> times = sim.engine().commandTimes();
    ASSERT_EQ(times.size(), 4);
    EXPECT_GE(times[1] - times[0], 390);
    EXPECT_GE(times[2] - times[1], 90);
    EXPECT_LT(times[2] - times[1], 300);
    EXPECT_GE(transport.lastExchangeTime(), 590u);
    EXPECT_LE(transport.lastExchangeTime(), quint32(timer.elapsed()));
}

TEST_F(EthernetExchangeTest, PollReturnsFirstReplyWhoseStatusIsNotFive)
{
    sim.faults().add(Fault::on("cal run").withProgress(0, 5000, 1, QByteArray("CAL 0x07")));
    ASSERT_TRUE(transport.SendReceive("cal run", reply, 1000, 0));
    EXPECT_EQ(reply, QByteArray("CAL 0x07"));
    EXPECT_EQ(sim.commands().last(), QByteArray("cal done?"));
}

TEST_F(EthernetExchangeTest, InProgressWithoutDelayAndWaitIsReturnedAtOnce)
{
    sim.faults().add(Fault::on("meas run").replying("MEAS 0x05"));
    ASSERT_TRUE(transport.SendReceive("Meas Run", reply, 1000, 0));
    EXPECT_EQ(reply, QByteArray("MEAS 0x05"));
    EXPECT_EQ(sim.commands().size(), 1);
}

TEST_F(EthernetExchangeTest, ErrorStatusIsAnExchangeThatSucceeded)
{
    sim.faults().add(Fault::on("meas run").replying("MEAS 0x1A"));
    ASSERT_TRUE(transport.SendReceive("Meas Run", reply, 1000, 0));
    EXPECT_EQ(reply, QByteArray("MEAS 0x1A"));
}

TEST_F(EthernetExchangeTest, FailedPollEndsTheExchange)
{
    sim.faults().add(Fault::on("meas run").withProgress(0, 5000, 3));
    sim.faults().add(Fault::on("meas done?").replying("MEAS 0x00").withGarbage(QByteArray(), "zz"));
    EXPECT_FALSE(transport.SendReceive("Meas Run", reply, 1000, 0));
    EXPECT_EQ(transport.GetErrorCode(), 0x5007);
    EXPECT_EQ(sim.commands().size(), 2);
}

TEST_F(EthernetExchangeTest, SecondExchangeWhilePollingIsRefusedAnywhereInTheProcess)
{
    sim.faults().add(Fault::on("meas run").withProgress(300, 5000, 2));
    std::atomic<bool> firstOk{false};
    QByteArray firstReply;
    std::thread first([&] { firstOk = transport.SendReceive("Meas Run", firstReply, 1000, 0); });
    ASSERT_TRUE(sim.waitForCommand("Meas Run", 2000));

    CEthernet other;  // a second transport shares the process-wide flag
    ASSERT_TRUE(other.OpenPort(sim.address()));
    EXPECT_TRUE(CEthernet::exchangeInProgress());
    EXPECT_FALSE(other.SendReceive("version", reply, 1000, 0));
    EXPECT_EQ(other.GetErrorCode(), 0x501E);
    EXPECT_EQ(other.GetErrorMessage(), QStringLiteral("Operation in progress."));
    first.join();

    EXPECT_TRUE(firstOk);
    EXPECT_EQ(firstReply, QByteArray("MEAS 0x00"));
    EXPECT_FALSE(sim.commands().contains("version"));
    EXPECT_FALSE(CEthernet::exchangeInProgress());
    EXPECT_TRUE(other.SendReceive("version", reply, 1000, 0));
}

TEST_F(EthernetExchangeTest, BusyFlagIsClearedWhenAnExchangeFails)
{
    sim.faults().add(Fault::on("version").withGarbage(QByteArray(), "zz"));
    EXPECT_FALSE(transport.SendReceive("version", reply, 1000, 0));
    EXPECT_FALSE(CEthernet::exchangeInProgress());
    EXPECT_TRUE(transport.SendReceive("version", reply, 1000, 0));
}

// A silent instrument: the read gives up after its readiness rounds
// (2 x 2,000 ms), and the caller sees 0x5006 rather than the 0x5005 timeout.
TEST_F(EthernetExchangeTest, SilentInstrumentEndsAsIncorrectPacketLength)
{
    sim.faults().add(Fault::on("version").silently());
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(transport.SendReceive("version", reply, 100, 0));
    EXPECT_GE(timer.elapsed(), 3900);
    EXPECT_LT(timer.elapsed(), 6000);
    EXPECT_EQ(transport.GetErrorCode(), 0x5006);
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("RecvPacket: Incorrect Packet length"));
    EXPECT_TRUE(transport.IsConnected());
}

// A reply that keeps trickling in is cut off once the read's time is up: the
// poll's read timeout is the instrument's wait value.
TEST_F(EthernetExchangeTest, PollReadTimeoutIsTheInstrumentsWait)
{
    const QByteArray slowFinal = "MEAS 0x00 " + QByteArray(20, 'r');
    sim.faults().add(Fault::on("meas run").withProgress(0, 300, 1, slowFinal));
    sim.faults().add(Fault::on("meas done?").splitInto({3, 3, 3, 3, 3, 3}, 150));
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(transport.SendReceive("Meas Run", reply, 1000, 0));
    EXPECT_GE(timer.elapsed(), 300);
    EXPECT_LT(timer.elapsed(), 800);
    // The timeout itself (0x5005) is overwritten by the validation of the
    // partial packet.
    EXPECT_EQ(transport.GetErrorCode(), 0x5007);
}

TEST_F(EthernetExchangeTest, SlowPollReplyWithinTheWaitArrives)
{
    sim.faults().add(Fault::on("meas run").withProgress(0, 5000, 1));
    sim.faults().add(Fault::on("meas done?").splitInto({3, 3, 3}, 150));
    EXPECT_TRUE(transport.SendReceive("Meas Run", reply, 1000, 0));
    EXPECT_EQ(reply, QByteArray("MEAS 0x00"));
}

TEST_F(EthernetExchangeTest, ReplyWithinTheReadinessRoundWaitsPastTheCallerTimeout)
{
    // The timeout is only checked after a waiting round: a reply that comes
    // 300 ms late into a 100 ms read still arrives.
    sim.faults().add(Fault::on("version").delayedBy(300));
    EXPECT_TRUE(transport.SendReceive("version", reply, 100, 0));
}

} // namespace
