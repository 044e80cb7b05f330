// CEthernet against the simulator over real loopback sockets: framing on the
// wire, reassembly, noise, hostile lengths and the connection's lifecycle.
#include <gtest/gtest.h>

#include <QAbstractSocket>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QThread>

#include "echo_instrument.h"
#include "sim_server.h"
#include "transport/ethernet_thread.h"
#include "transport/ethernet_transport.h"

using vireo2::CEthernet;
using vireo2::EthernetThread;
using vireo2::sim::Fault;
using vireo2::sim::SimServer;

namespace {

bool eventually(const std::function<bool()>& condition, int timeoutMs = 2000)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(5);
    }
    return true;
}

class EthernetTransportTest : public ::testing::Test {
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

TEST_F(EthernetTransportTest, ExchangesOneCommandAndRecordsIt)
{
    // The host is a plain program: no QCoreApplication, no event loop.
    ASSERT_EQ(QCoreApplication::instance(), nullptr);
    ASSERT_TRUE(transport.SendReceive("version", reply, 1000, 0));
    EXPECT_EQ(reply, QByteArray(vireo2::test::EchoInstrument::kVersionReply));
    EXPECT_EQ(transport.lastCommand(), QStringLiteral("version"));
    EXPECT_EQ(sim.commands(), QList<QByteArray>{"version"});
}

TEST_F(EthernetTransportTest, ExplicitLengthSendsOnlyThatManyBytes)
{
    ASSERT_TRUE(transport.SendReceive("versionXYZ", reply, 1000, 7));
    EXPECT_EQ(sim.commands(), QList<QByteArray>{"version"});
}

TEST_F(EthernetTransportTest, ReassemblesReplySplitOverSegments)
{
    sim.faults().add(Fault::on("version").replying("VERSION 0x00 split reply").splitInto({1, 3, 4, 2}, 30));
    ASSERT_TRUE(transport.SendReceive("version", reply, 2000, 0));
    EXPECT_EQ(reply, QByteArray("VERSION 0x00 split reply"));
}

TEST_F(EthernetTransportTest, DropsNoiseBeforeStartMarker)
{
    sim.faults().add(Fault::on("version").withGarbage("\x01\x02noise\x7f\x00", QByteArray()));
    ASSERT_TRUE(transport.SendReceive("version", reply, 2000, 0));
    EXPECT_EQ(reply, QByteArray(vireo2::test::EchoInstrument::kVersionReply));
}

TEST_F(EthernetTransportTest, NoiseArrivingInItsOwnSegmentIsDroppedToo)
{
    sim.faults().add(Fault::on("version").withGarbage("xxxx").splitInto({4}, 30));
    ASSERT_TRUE(transport.SendReceive("version", reply, 2000, 0));
    EXPECT_EQ(reply.left(12), QByteArray("VERSION 0x00"));
}

TEST_F(EthernetTransportTest, RejectsTrailingNoiseInTheSameChunk)
{
    sim.faults().add(Fault::on("version").withGarbage(QByteArray(), "junk"));
    EXPECT_FALSE(transport.SendReceive("version", reply, 2000, 0));
    EXPECT_EQ(transport.GetErrorCode(), 0x5007);
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("Receive: Invalid BCP Packet"));
}

TEST_F(EthernetTransportTest, RejectsLengthFieldShorterThanPacket)
{
    // Accepted on USB (surplus kept), but TCP wants the exact length.
    sim.faults().add(Fault::on("version").replying("MEAS 0x00 surplus").withLengthField(4));
    EXPECT_FALSE(transport.SendReceive("version", reply, 2000, 0));
    EXPECT_EQ(transport.GetErrorCode(), 0x5007);
}

TEST_F(EthernetTransportTest, HostileLengthFailsAtOnceWithoutWaitingForTheClaimedBytes)
{
    sim.faults().add(Fault::on("version").withLengthField(0xFFFFFFFFu));
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(transport.SendReceive("version", reply, 10000, 0));
    EXPECT_LT(timer.elapsed(), 1500);
    EXPECT_EQ(transport.GetErrorCode(), 0x5007);
}

TEST_F(EthernetTransportTest, LargestAcceptedPayloadStillArrives)
{
    const QByteArray big = "IMAGE 0x00 " + QByteArray(3 * 1000 * 1000, 'x');
    sim.faults().add(Fault::on("image").replying(big));
    ASSERT_TRUE(transport.SendReceive("image", reply, 10000, 0));
    EXPECT_EQ(reply.size(), big.size());
    EXPECT_EQ(reply, big);
}

TEST_F(EthernetTransportTest, ReplyThatNeverEndsIsCutOffAtTheTimeout)
{
    // The header claims 1,000 bytes; what follows trickles in and stops.
    sim.faults().add(Fault::on("version").withLengthField(1000).splitInto({8, 4, 4, 4, 4, 4, 4}, 100));
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(transport.SendReceive("version", reply, 250, 0));
    EXPECT_LT(timer.elapsed(), 700);
    EXPECT_EQ(transport.GetErrorCode(), 0x5007);
}

TEST_F(EthernetTransportTest, EmptyPayloadPacketFailsTheExchange)
{
    sim.faults().add(Fault::on("version").replying(QByteArray()));
    transport.SetError(0x1234, QStringLiteral("before"));
    EXPECT_FALSE(transport.SendReceive("version", reply, 1000, 0));
    EXPECT_TRUE(reply.isEmpty());
    EXPECT_EQ(transport.GetErrorCode(), 0x1234);
}

TEST_F(EthernetTransportTest, InstrumentClosingTheConnectionClearsConnectedFlag)
{
    ASSERT_TRUE(transport.IsConnected());
    ASSERT_TRUE(sim.waitForClientCount(1, 2000));  // accepted, not just queued
    sim.dropClients();
    // Noticed while idle, without any request.
    EXPECT_TRUE(eventually([&] { return !transport.IsConnected(); }));
    EXPECT_FALSE(transport.Send("version", 0));
    EXPECT_EQ(transport.GetErrorCode(), 0x5001);
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("FAILED Send: NOT Connected"));
    EXPECT_EQ(transport.Receive(reply, 100), 0);
    EXPECT_EQ(transport.GetErrorCode(), 0x5004);
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("FAILED Receive: NOT Connected"));
}

TEST_F(EthernetTransportTest, ConnectionDroppedInsteadOfReplyEndsAsIncorrectLength)
{
    sim.faults().add(Fault::on("version").dropping());
    EXPECT_FALSE(transport.SendReceive("version", reply, 3000, 0));
    EXPECT_EQ(transport.GetErrorCode(), 0x5006);
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("RecvPacket: Incorrect Packet length"));
    EXPECT_FALSE(transport.IsConnected());
}

TEST_F(EthernetTransportTest, ClosePortDisconnectsAndCanBeRepeated)
{
    ASSERT_TRUE(sim.waitForClientCount(1, 2000));
    transport.ClosePort();
    EXPECT_FALSE(transport.IsConnected());
    transport.ClosePort();
    EXPECT_TRUE(sim.waitForClientCount(0, 2000));
    EXPECT_FALSE(transport.SendRaw("x", 1));
}

TEST_F(EthernetTransportTest, ReopensAfterClose)
{
    transport.ClosePort();
    ASSERT_TRUE(transport.OpenPort(sim.address()));
    EXPECT_TRUE(transport.SendReceive("version", reply, 1000, 0));
}

TEST(EthernetConnect, RefusedConnectionReportsTheSocketError)
{
    quint16 port = 0;
    {
        SimServer sim{vireo2::test::EchoInstrument::create()};
        ASSERT_TRUE(sim.start());
        port = sim.port();
    }
    CEthernet transport;
    EXPECT_FALSE(transport.OpenPort("127.0.0.1:" + QByteArray::number(port)));
    EXPECT_FALSE(transport.IsConnected());
    EXPECT_EQ(transport.GetErrorCode(), int(QAbstractSocket::ConnectionRefusedError));
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("Connection refused"));
}

TEST(EthernetConnect, HostNameIsRefusedWithoutLookup)
{
    CEthernet transport;
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(transport.OpenPort("localhost:60001"));
    EXPECT_LT(timer.elapsed(), 500);
    EXPECT_EQ(transport.GetErrorCode(), int(QAbstractSocket::HostNotFoundError));
}

TEST(EthernetConnect, AddressWithoutPortUsesInstrumentPort)
{
    QString host;
    quint16 port = 0;
    EthernetThread::splitAddress(QStringLiteral("192.168.7.2"), &host, &port);
    EXPECT_EQ(host, QStringLiteral("192.168.7.2"));
    EXPECT_EQ(port, 60001);
    EthernetThread::splitAddress(QStringLiteral("192.168.7.2:"), &host, &port);
    EXPECT_EQ(port, 60001);
    EthernetThread::splitAddress(QStringLiteral("10.1.2.3:23"), &host, &port);
    EXPECT_EQ(host, QStringLiteral("10.1.2.3"));
    EXPECT_EQ(port, 23);
}

TEST(EthernetErrors, EmptyMessageBecomesOsErrorCode)
{
    CEthernet transport;
    transport.SetError(0x2A, QString());
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("OS ERROR CODE 002A"));
    transport.SetError(0x12345, QString());
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("OS ERROR CODE 12345"));
    transport.SetError(7, QStringLiteral("kept"));
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("kept"));
}

TEST(EthernetErrors, NotConnectedSendLeavesNothingOnTheWire)
{
    CEthernet transport;
    EXPECT_FALSE(transport.IsConnected());
    QByteArray reply;
    EXPECT_FALSE(transport.SendReceive("version", reply, 100, 0));
    EXPECT_EQ(transport.GetErrorCode(), 0x5001);
}

} // namespace
