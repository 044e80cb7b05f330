// The simulator itself: the engine's control commands and fault layer without
// any socket, then the TCP server. (Several clients at once: the busy-flag test
// of the TCP transport.)
#include <gtest/gtest.h>

#include <QHostAddress>
#include <QTcpSocket>

#include "echo_instrument.h"
#include "sim_server.h"
#include "transport/bcp_packet.h"
#include "transport/packet_assembler.h"

using vireo2::sim::Fault;
using vireo2::sim::ReplyPlan;
using vireo2::sim::SimEngine;
using vireo2::sim::SimServer;
using vireo2::test::EchoInstrument;
namespace bcp = vireo2::bcp;

namespace {

// The payload of the engine's reply to one command.
QByteArray ask(SimEngine& engine, const QByteArray& command)
{
    QByteArray stream = engine.handle(command).bytes();
    QByteArray payload;
    return bcp::takePacket(stream, payload) ? payload : "<none>";
}

// A conversation with the engine: each command and the reply it gets.
TEST(SimEngine, ControlCommandsFaultMatchingAndPolls)
{
    SimEngine engine(EchoInstrument::create());
    engine.faults().add(Fault::on("CAL").replying("CAL 0x1F").repeated(2));
    const std::pair<QByteArray, QByteArray> steps[] = {
        // Control lines the engine does not know go to the model; mistakes are reported.
        {"SIM ping", "pong"},
        {"SIM nonsense", "SIM 0x01 unknown control command: nonsense"},
        {"SIM FAULT", "SIM 0x01 missing command to match"},
        {"SIM FAULT version bogus=1", "SIM 0x01 unknown fault option: bogus"},
        {"SIM FAULT \"meas run", "SIM 0x01 unterminated quote"},
        {"SIM FAULT version delay=-3", "SIM 0x01 bad value for delay: -3"},
        {"SIM FAULT version before=abc", "SIM 0x01 bad value for before: abc"},
        {"SIM FAULT version progress=1,2", "SIM 0x01 bad value for progress: 1,2"},
        // A fault matches the first word or the whole command, so many times.
        {"cal run", "CAL 0x1F"},
        {"Cal Query Status", "CAL 0x1F"},
        {"cal run", "CAL 0x00"},
        {"SIM FAULT * reply=\"X 0x01\" always", "SIM 0x00"},
        {"anything", "X 0x01"},
        {"anything", "X 0x01"},
        {"SIM RESET", "SIM 0x00"},
        {"anything", "ANYTHING 0x00"},
        // An operation in progress answers the polls of its own word only.
        {"SIM FAULT \"meas run\" progress=500,20000,2 final=\"MEAS 0x00 ok\"", "SIM 0x00"},
        {"Meas Run", "MEAS 0x05 500 20000"},
        {"other done?", "OTHER 0x00"},
        {"MEAS DONE?", "MEAS 0x05"},
        {"meas done?", "MEAS 0x00 ok"},
        {"meas done?", "MEAS 0x00"},
    };
    for (const auto& [command, answer] : steps)
        EXPECT_EQ(ask(engine, command), answer) << command.constData();
    EXPECT_EQ(engine.commands().size(), 11);  // control lines are not recorded
}

TEST(SimEngine, FaultTextShapesTheDelivery)
{
    SimEngine engine(EchoInstrument::create());
    ask(engine, "SIM FAULT \"Meas Run\" before=0a0B after=ff length=0x10 split=1,2 pause=3 delay=9 times=2");
    QByteArray packet = bcp::frame("MEAS 0x00");
    packet[4] = 0x10;
    const QByteArray bytes = "\x0a\x0b" + packet + "\xff";
    for (int use = 0; use < 2; ++use) {
        const ReplyPlan plan = engine.handle("meas run");
        EXPECT_EQ(plan.segments, QList<QByteArray>({bytes.left(1), bytes.mid(1, 2), bytes.mid(3)}));
        EXPECT_EQ(plan.delayMs, 9);
        EXPECT_EQ(plan.segmentPauseMs, 3);
    }
    EXPECT_EQ(engine.handle("meas run").bytes(), bcp::frame("MEAS 0x00"));

    ask(engine, "SIM FAULT quiet silent once");
    ask(engine, "SIM FAULT gone drop");
    EXPECT_TRUE(engine.handle("quiet").silent);
    EXPECT_TRUE(engine.handle("gone").drop);
    EXPECT_EQ(engine.handle("quiet").bytes(), bcp::frame("QUIET 0x00"));
}

// The simulator's TCP end, seen through a bare socket.
class SimServerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sim.start());
        client.connectToHost(QHostAddress::LocalHost, sim.port());
        ASSERT_TRUE(client.waitForConnected(1000));
    }

    SimServer sim{EchoInstrument::create()};
    QTcpSocket client;
};

TEST_F(SimServerTest, AnswersEachCommandOfAStreamInOrder)
{
    client.write(bcp::frame("version") + "noise" + bcp::frame("Meas Run"));
    QByteArray stream;
    QByteArray payload;
    QList<QByteArray> replies;
    while (replies.size() < 2 && client.waitForReadyRead(2000)) {
        stream += client.readAll();
        while (bcp::takePacket(stream, payload))
            replies << payload;
    }
    EXPECT_EQ(replies, QList<QByteArray>({EchoInstrument::kVersionReply, "MEAS 0x00"}));
    EXPECT_EQ(sim.commands(), QList<QByteArray>({"version", "Meas Run"}));
}

TEST_F(SimServerTest, StopClosesClientsAndFreesThePort)
{
    const quint16 port = sim.port();
    SimServer other;
    EXPECT_FALSE(other.start(port));
    EXPECT_FALSE(other.isRunning());
    EXPECT_FALSE(other.errorString().isEmpty());
    sim.stop();
    EXPECT_FALSE(sim.isRunning());
    EXPECT_TRUE(client.state() == QAbstractSocket::UnconnectedState || client.waitForDisconnected(2000));
    ASSERT_TRUE(other.start(port));
    EXPECT_EQ(other.port(), port);
}

} // namespace
