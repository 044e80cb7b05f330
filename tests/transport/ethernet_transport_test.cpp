// CEthernet against the simulator over real loopback sockets: reassembly,
// noise, hostile lengths, "done?" polling, the busy flag and the connection's
// lifecycle.
#include <gtest/gtest.h>

#include <QAbstractSocket>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QThread>
#include <atomic>
#include <thread>

#include "echo_transport_test.h"
#include "transport/bcp_packet.h"
#include "transport/ethernet_socket.h"
#include "transport/network_address.h"
#include "closed_port.h"
#include "transport/ethernet_transport.h"

using vireo2::CEthernet;
using vireo2::sim::Fault;
using vireo2::test::EchoInstrument;

namespace {

const QByteArray kVersion = EchoInstrument::kVersionReply;

class EthernetTransportTest : public vireo2::test::EchoTransportTest {
protected:
    bool exchange(const char* command, int timeoutMs = 2000)
    {
        return transport.SendReceive(command, reply, timeoutMs, 0);
    }
};

TEST_F(EthernetTransportTest, ExchangesOneCommandInAPlainProgram)
{
    ASSERT_EQ(QCoreApplication::instance(), nullptr);  // no event loop of the host's
    ASSERT_TRUE(exchange("version"));
    EXPECT_EQ(reply, kVersion);
    ASSERT_TRUE(transport.SendReceive("versionXYZ", reply, 1000, 7));  // only the given length
    EXPECT_EQ(transport.lastCommand(), QStringLiteral("version"));
    EXPECT_EQ(sim.commands(), QList<QByteArray>({"version", "version"}));
}

TEST_F(EthernetTransportTest, ReassemblesAwkwardDeliveries)
{
    const QByteArray big = "IMAGE 0x00 " + QByteArray(3000000, 'x');  // several socket reads
    // What, fault, timeout, reply, least milliseconds taken.
    const std::tuple<const char*, Fault, int, QByteArray, qint64> cases[] = {
        {"split over segments", Fault::on("version").splitInto({1, 3, 4, 2}, 30), 2000, kVersion, 90},
        {"noise before 0x7E", Fault::on("version").withGarbage("\x01\x02noise\x7f"), 2000, kVersion, 0},
        {"noise in its own segment", Fault::on("version").withGarbage("xxxx").splitInto({4}, 30), 2000, kVersion, 25},
        // The timeout is checked after each 2,000 ms readiness round only.
        {"300 ms late into a 100 ms read", Fault::on("version").delayedBy(300), 100, kVersion, 300},
        {"larger than one read", Fault::on("version").replying(big), 10000, big, 0},
    };
    for (const auto& [what, fault, timeoutMs, expected, leastMs] : cases) {
        SCOPED_TRACE(what);
        sim.faults().add(fault);
        QElapsedTimer timer;
        timer.start();
        ASSERT_TRUE(exchange("version", timeoutMs));
        EXPECT_GE(timer.elapsed(), leastMs);
        EXPECT_TRUE(reply == expected) << reply.left(40).constData();
    }
}

TEST_F(EthernetTransportTest, BadRepliesFailWithTheirErrorAndInTime)
{
    const QString invalid = QStringLiteral("Receive: Invalid BCP Packet");
    const QString incorrectLength = QStringLiteral("RecvPacket: Incorrect Packet length");
    const Fault version = Fault::on("version");
    // What, fault, timeout, code and text left, least and most milliseconds taken.
    const std::tuple<const char*, Fault, int, qint32, QString, qint64, qint64> cases[] = {
        {"trailing noise", Fault(version).withGarbage({}, "junk"), 2000, 0x5007, invalid, 0, 1500},
        {"length below the size (USB takes it)", Fault(version).withLengthField(4), 2000, 0x5007, invalid, 0, 1500},
        {"hostile length", Fault(version).withLengthField(0xFFFFFFFFu), 10000, 0x5007, invalid, 0, 1500},
        {"trickle cut off at the timeout", Fault(version).withLengthField(1000).splitInto({8, 4, 4, 4, 4}, 100), 250,
         0x5007, invalid, 0, 1800},
        {"empty payload", Fault(version).replying({}), 1000, 0x1234, "before", 0, 1500},
        // Two readiness rounds of 2,000 ms; 0x5006 rather than the 0x5005 timeout.
        {"silent instrument", Fault(version).silently(), 100, 0x5006, incorrectLength, 3900, 6000},
    };
    for (const auto& [what, fault, timeoutMs, code, text, fromMs, toMs] : cases) {
        SCOPED_TRACE(what);
        sim.faults().add(fault);
        transport.SetError(0x1234, QStringLiteral("before"));
        QElapsedTimer timer;
        timer.start();
        EXPECT_FALSE(exchange("version", timeoutMs));
        EXPECT_GE(timer.elapsed(), fromMs);
        EXPECT_LT(timer.elapsed(), toMs);
        EXPECT_EQ(transport.GetErrorCode(), code);
        EXPECT_EQ(transport.GetErrorMessage(), text);
        EXPECT_TRUE(transport.IsConnected());
    }
}

// The timeout is checked after every chunk: a negative one has passed at the
// first check, however the peer keeps trickling.
// A late reply to a command whose read gave up, arriving in one segment with
// the next command's reply: it is dropped and the reply behind it read. The
// same packet is not dropped when nothing is owed: it breaks the framing.
TEST_F(EthernetTransportTest, LateReplyInTheSegmentOfTheAnswerIsDropped)
{
    const QByteArray late = vireo2::bcp::frame("PROBE 0x00 late");
    transport.owedReplies().sent("probe now", 9);
    transport.owedReplies().missing();
    sim.faults().add(Fault::on("version").withGarbage(late));
    ASSERT_TRUE(exchange("version"));
    EXPECT_EQ(reply, kVersion);

    sim.faults().add(Fault::on("version").withGarbage(late));
    EXPECT_FALSE(exchange("version"));
    EXPECT_EQ(transport.GetErrorCode(), 0x5007);
}

TEST_F(EthernetTransportTest, NegativeReadTimeoutHasPassedAtTheFirstCheck)
{
    sim.faults().add(Fault::on("version").splitInto({8, 4, 4, 4}, 100));
    ASSERT_TRUE(transport.Send("version", 0));
    EXPECT_NE(transport.Receive(reply, -1), 0);  // the write's result, as after any read
    EXPECT_LT(reply.size(), kVersion.size() + 6);
    EXPECT_EQ(transport.GetErrorCode(), 0x5005);
    EXPECT_TRUE(QRegularExpression("^Receive: TIMEOUT after receiving \\d+ bytes of 27$")
                    .match(transport.GetErrorMessage())
                    .hasMatch())
        << transport.GetErrorMessage().toStdString();
}

TEST_F(EthernetTransportTest, PollsWithTheFirstWordWhileTheStatusIsFive)
{
    sim.faults().add(Fault::on("meas run").withProgress(400, 20000, 3, QByteArray("MEAS 0x07 done")));
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(exchange("Meas Run", 1000));
    EXPECT_EQ(reply, QByteArray("MEAS 0x07 done"));
    EXPECT_EQ(sim.commands(), QList<QByteArray>({"Meas Run", "Meas done?", "Meas done?", "Meas done?"}));
    // The instrument's delay before the first poll, 100 ms between the others.
    const QList<qint64> times = sim.engine().commandTimes();
    EXPECT_GE(times[1] - times[0], 390);
    EXPECT_GE(times[2] - times[1], 90);
    EXPECT_LT(times[2] - times[1], 300);
    EXPECT_GE(transport.lastExchangeTime(), 590u);
    EXPECT_LE(transport.lastExchangeTime(), quint32(timer.elapsed()));
}

TEST_F(EthernetTransportTest, RepliesWithoutProgressFieldsAreReturnedAtOnce)
{
    for (const QByteArray text : {"MEAS 0x05", "MEAS 0x05 500", "MEAS 0x1A"}) {
        sim.faults().add(Fault::on("meas run").replying(text));
        ASSERT_TRUE(exchange("Meas Run"));
        EXPECT_EQ(reply, text);
    }
    EXPECT_EQ(sim.commands().size(), 3);
}

// A reply that keeps trickling in is cut off at the poll's read timeout,
// which is the instrument's wait value; the failed poll ends the exchange.
TEST_F(EthernetTransportTest, PollReadTimeoutIsTheInstrumentsWait)
{
    sim.faults().add(Fault::on("meas run").withProgress(0, 300, 1, "MEAS 0x00 " + QByteArray(20, 'r')));
    // The whole trickle would take 1,500 ms, within the exchange's 2,000.
    sim.faults().add(Fault::on("meas done?").splitInto({3, 3, 3, 3, 3, 3}, 250));
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(exchange("Meas Run", 2000));
    EXPECT_GE(timer.elapsed(), 300);
    EXPECT_LT(timer.elapsed(), 1200);
    EXPECT_EQ(transport.GetErrorCode(), 0x5007);
    EXPECT_EQ(sim.commands().size(), 2);
    EXPECT_FALSE(CEthernet::exchangeInProgress());
    EXPECT_TRUE(exchange("version"));
}

TEST_F(EthernetTransportTest, SecondExchangeWhilePollingIsRefusedAnywhereInTheProcess)
{
    sim.faults().add(Fault::on("meas run").withProgress(300, 5000, 2));
    std::atomic<bool> firstOk{false};
    QByteArray firstReply;
    std::thread first([&] { firstOk = transport.SendReceive("Meas Run", firstReply, 1000, 0); });
    ASSERT_TRUE(sim.waitForCommand("Meas Run", 2000));

    CEthernet other;  // a second transport shares the process-wide flag
    ASSERT_TRUE(other.OpenPort(sim.address()));
    EXPECT_FALSE(other.SendReceive("version", reply, 1000, 0));
    EXPECT_EQ(other.GetErrorCode(), 0x501E);
    EXPECT_EQ(other.GetErrorMessage(), QStringLiteral("Operation in progress."));
    first.join();
    EXPECT_TRUE(firstOk);
    EXPECT_EQ(firstReply, QByteArray("MEAS 0x00"));
    EXPECT_FALSE(sim.commands().contains("version"));
    EXPECT_TRUE(other.SendReceive("version", reply, 1000, 0));
}

TEST_F(EthernetTransportTest, ConnectionLifecycle)
{
    // Closing twice is harmless; a closed transport writes nothing and reopens.
    ASSERT_TRUE(sim.waitForClientCount(1, 2000));
    transport.ClosePort();
    transport.ClosePort();
    EXPECT_TRUE(sim.waitForClientCount(0, 2000));
    EXPECT_FALSE(transport.SendRaw("x", 1));
    ASSERT_TRUE(transport.OpenPort(sim.address()));

    // Dropped instead of a reply: the exchange ends as an incorrect length.
    sim.faults().add(Fault::on("version").dropping());
    EXPECT_FALSE(exchange("version"));
    EXPECT_EQ(transport.GetErrorCode(), 0x5006);
    EXPECT_FALSE(transport.IsConnected());

    // Dropped while idle: the worker notices without any request.
    ASSERT_TRUE(sim.waitForClientCount(0, 2000));
    ASSERT_TRUE(transport.OpenPort(sim.address()));
    ASSERT_TRUE(sim.waitForClientCount(1, 2000));  // accepted, not just queued
    sim.dropClients();
    QDeadlineTimer deadline(2000);
    while (transport.IsConnected() && !deadline.hasExpired())
        QThread::msleep(5);
    EXPECT_FALSE(transport.IsConnected());
    EXPECT_FALSE(transport.Send("version", 0));
    EXPECT_EQ(transport.GetErrorCode(), 0x5001);
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("FAILED Send: NOT Connected"));
    EXPECT_EQ(transport.Receive(reply, 100), 0);
    EXPECT_EQ(transport.GetErrorCode(), 0x5004);
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("FAILED Receive: NOT Connected"));
}

TEST(EthernetConnect, FailuresReportTheSocketError)
{
    CEthernet transport;
    EXPECT_FALSE(transport.OpenPort(vireo2::test::closedAddress()));
    EXPECT_FALSE(transport.IsConnected());
    EXPECT_EQ(transport.GetErrorCode(), int(QAbstractSocket::ConnectionRefusedError));
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("Connection refused"));

    QElapsedTimer timer;  // a host name is refused without a lookup
    timer.start();
    EXPECT_FALSE(transport.OpenPort("localhost:60001"));
    EXPECT_LT(timer.elapsed(), 500);
    EXPECT_EQ(transport.GetErrorCode(), int(QAbstractSocket::HostNotFoundError));

    transport.SetError(0x2A, QString());
    EXPECT_EQ(transport.GetErrorMessage(), QStringLiteral("OS ERROR CODE 002A"));
}

TEST(EthernetConnect, AddressWithoutPortUsesTheInstrumentPortAndABadPortIsRefused)
{
    for (const char* address : {"192.168.7.2", "192.168.7.2:", "192.168.7.2:23", " 192.168.7.2:65535 "}) {
        const auto parsed = vireo2::NetworkAddress::parse(QString::fromUtf8(address), 60001);
        ASSERT_TRUE(parsed) << address;
        EXPECT_EQ(parsed->host, QStringLiteral("192.168.7.2"));
        const QByteArray text = QByteArray(address).trimmed();
        EXPECT_EQ(parsed->port, text.endsWith(":23") ? 23 : text.endsWith(":65535") ? 65535 : 60001) << address;
    }
    // 65537 would wrap to port 1, 4294967319 to 23.
    for (const char* address : {"127.0.0.1:65537", "127.0.0.1:0", "127.0.0.1:4294967319", "127.0.0.1:-1",
                                "127.0.0.1:23:24", "127.0.0.1:2x", ":23", ""})
        EXPECT_FALSE(vireo2::NetworkAddress::parse(QString::fromUtf8(address), 60001)) << address;

    vireo2::CEthernet transport;
    EXPECT_FALSE(transport.OpenPort("127.0.0.1:65537"));
    EXPECT_EQ(transport.GetErrorMessage(),
              QStringLiteral("Invalid address \"127.0.0.1:65537\" (host[:port], port 1 to 65535)"));
}

} // namespace
