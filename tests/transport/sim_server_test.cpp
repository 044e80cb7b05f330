// The simulator itself: several clients, the control interface, the fault
// text syntax and in-progress operations, seen through a plain socket.
#include <gtest/gtest.h>

#include <QHostAddress>
#include <QTcpSocket>

#include "echo_instrument.h"
#include "sim_server.h"
#include "transport/bcp_packet.h"
#include "transport/packet_assembler.h"

using vireo2::sim::Fault;
using vireo2::sim::SimServer;
namespace bcp = vireo2::bcp;

namespace {

// A bare BCP client, independent of the library's transports.
class RawClient {
public:
    bool connectTo(quint16 port)
    {
        socket_.connectToHost(QHostAddress::LocalHost, port);
        return socket_.waitForConnected(1000);
    }

    void sendRaw(const QByteArray& bytes)
    {
        socket_.write(bytes);
        socket_.waitForBytesWritten(1000);
    }

    QByteArray exchange(const QByteArray& command)
    {
        sendRaw(bcp::frame(command));
        return readPayload();
    }

    QByteArray readPayload(int timeoutMs = 2000)
    {
        QByteArray payload;
        while (!bcp::takePacket(stream_, payload)) {
            if (!socket_.waitForReadyRead(timeoutMs))
                return "<none>";
            stream_ += socket_.readAll();
        }
        return payload;
    }

    QTcpSocket& socket() { return socket_; }

private:
    QTcpSocket socket_;
    QByteArray stream_;
};

class SimServerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sim.start());
        ASSERT_TRUE(client.connectTo(sim.port()));
    }

    SimServer sim{vireo2::test::EchoInstrument::create()};
    RawClient client;
};

TEST_F(SimServerTest, AnswersEachCommandOfAStreamInOrder)
{
    client.sendRaw(bcp::frame("version") + "noise" + bcp::frame("Meas Run"));
    EXPECT_EQ(client.readPayload(), QByteArray(vireo2::test::EchoInstrument::kVersionReply));
    EXPECT_EQ(client.readPayload(), QByteArray("MEAS 0x00"));
    EXPECT_EQ(sim.commands(), (QList<QByteArray>{"version", "Meas Run"}));
}

TEST_F(SimServerTest, ServesSeveralClientsAtOnce)
{
    RawClient control;
    ASSERT_TRUE(control.connectTo(sim.port()));
    EXPECT_TRUE(sim.waitForClientCount(2, 2000));
    EXPECT_EQ(control.exchange("SIM FAULT version reply=\"VERSION 0x00 other\""), QByteArray("SIM 0x00"));
    EXPECT_EQ(client.exchange("version"), QByteArray("VERSION 0x00 other"));
    // One-shot: the next one gets the model's answer again.
    EXPECT_EQ(client.exchange("VERSION"), QByteArray(vireo2::test::EchoInstrument::kVersionReply));
    EXPECT_EQ(sim.commands(), (QList<QByteArray>{"version", "VERSION"}));
}

TEST_F(SimServerTest, ControlCommandsReachTheModelAndReportErrors)
{
    EXPECT_EQ(client.exchange("SIM ping"), QByteArray("pong"));
    EXPECT_EQ(client.exchange("SIM nonsense"), QByteArray("SIM 0x01 unknown control command: nonsense"));
    EXPECT_EQ(client.exchange("SIM FAULT version bogus=1"), QByteArray("SIM 0x01 unknown fault option: bogus"));
    EXPECT_EQ(client.exchange("SIM FAULT \"meas run"), QByteArray("SIM 0x01 unterminated quote"));
    EXPECT_EQ(client.exchange("SIM FAULT version delay=-3"), QByteArray("SIM 0x01 bad value for delay: -3"));
    EXPECT_TRUE(sim.commands().isEmpty());
}

TEST_F(SimServerTest, ResetClearsFaultsAndPendingOperations)
{
    client.exchange("SIM FAULT * reply=\"X 0x01\" always");
    EXPECT_EQ(client.exchange("anything"), QByteArray("X 0x01"));
    EXPECT_EQ(client.exchange("SIM RESET"), QByteArray("SIM 0x00"));
    EXPECT_EQ(client.exchange("anything"), QByteArray("ANYTHING 0x00"));
}

TEST_F(SimServerTest, InProgressOperationCompletesOnItsPolls)
{
    client.exchange("SIM FAULT \"meas run\" progress=500,20000,2 final=\"MEAS 0x00 ok\"");
    EXPECT_EQ(client.exchange("Meas Run"), QByteArray("MEAS 0x05 500 20000"));
    EXPECT_EQ(client.exchange("other done?"), QByteArray("OTHER 0x00"));
    EXPECT_EQ(client.exchange("MEAS DONE?"), QByteArray("MEAS 0x05"));
    EXPECT_EQ(client.exchange("meas done?"), QByteArray("MEAS 0x00 ok"));
    EXPECT_EQ(client.exchange("meas done?"), QByteArray("MEAS 0x00"));
}

TEST_F(SimServerTest, FirstWordMatchCoversEveryCommandOfThatWord)
{
    sim.faults().add(Fault::on("CAL").replying("CAL 0x1F").repeated(2));
    EXPECT_EQ(client.exchange("cal run"), QByteArray("CAL 0x1F"));
    EXPECT_EQ(client.exchange("Cal Query Status"), QByteArray("CAL 0x1F"));
    EXPECT_EQ(client.exchange("cal run"), QByteArray("CAL 0x00"));
}

TEST_F(SimServerTest, GarbageAndLengthOverrideAppearOnTheWire)
{
    client.exchange("SIM FAULT version before=0102 after=ff length=0x10");
    client.sendRaw(bcp::frame("version"));
    QByteArray wire;
    const int expected = 2 + 6 + int(qstrlen(vireo2::test::EchoInstrument::kVersionReply)) + 1;
    while (wire.size() < expected && client.socket().waitForReadyRead(2000))
        wire += client.socket().readAll();
    EXPECT_EQ(wire.left(7), QByteArray("\x01\x02\x7e\x00\x00\x00\x10", 7));
    EXPECT_EQ(wire.size(), expected);
    EXPECT_EQ(wire.right(2), QByteArray("\x7f\xff"));
}

TEST_F(SimServerTest, DropFaultClosesTheConnection)
{
    sim.faults().add(Fault::on("version").dropping());
    client.sendRaw(bcp::frame("version"));
    EXPECT_TRUE(client.socket().waitForDisconnected(2000));
    EXPECT_TRUE(sim.waitForClientCount(0, 2000));
    EXPECT_TRUE(sim.isRunning());
}

TEST_F(SimServerTest, StopClosesClientsAndFreesThePort)
{
    const quint16 port = sim.port();
    sim.stop();
    EXPECT_FALSE(sim.isRunning());
    EXPECT_TRUE(client.socket().state() == QAbstractSocket::UnconnectedState
                || client.socket().waitForDisconnected(2000));
    ASSERT_TRUE(sim.start(port));
    EXPECT_EQ(sim.port(), port);
}

TEST(SimFaultText, ParsesEveryOption)
{
    QString error;
    const auto fault = Fault::parse(
        "\"Meas Run\" reply=\"MEAS 0x00\" progress=5,6,7 final=\"MEAS 0x01 x\" silent drop delay=9 "
        "before=0a0B after=ff split=1,2 pause=3 length=0xFFFFFFFF times=4",
        &error);
    ASSERT_TRUE(fault) << error.toStdString();
    EXPECT_EQ(fault->match, QByteArray("Meas Run"));
    EXPECT_EQ(*fault->reply, QByteArray("MEAS 0x00"));
    ASSERT_TRUE(fault->progress);
    EXPECT_EQ(fault->progress->delayMs, 5);
    EXPECT_EQ(fault->progress->waitMs, 6);
    EXPECT_EQ(fault->progress->polls, 7);
    EXPECT_EQ(*fault->progress->finalReply, QByteArray("MEAS 0x01 x"));
    EXPECT_TRUE(fault->silent);
    EXPECT_TRUE(fault->drop);
    EXPECT_EQ(fault->delayMs, 9);
    EXPECT_EQ(fault->before, QByteArray("\x0a\x0b"));
    EXPECT_EQ(fault->after, QByteArray("\xff"));
    EXPECT_EQ(fault->segments, (QList<int>{1, 2}));
    EXPECT_EQ(fault->segmentPauseMs, 3);
    EXPECT_EQ(*fault->lengthField, 0xFFFFFFFFu);
    EXPECT_EQ(fault->times, 4);
    EXPECT_FALSE(Fault::parse("", &error));
    EXPECT_FALSE(Fault::parse("x before=abc", &error));
    EXPECT_FALSE(Fault::parse("x progress=1,2", &error));
}

TEST(SimServerStart, PortInUseFailsCleanly)
{
    SimServer first;
    ASSERT_TRUE(first.start());
    SimServer second;
    EXPECT_FALSE(second.start(first.port()));
    EXPECT_FALSE(second.isRunning());
    EXPECT_FALSE(second.errorString().isEmpty());
}

} // namespace
