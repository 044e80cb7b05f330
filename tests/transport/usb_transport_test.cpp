// USB against a simulated device behind the libusb functions
// (fake_libusb.cpp): the calls the transport makes, framing and validation
// with the USB length rule, the exchange with its "DONE?" polls, failures.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QSettings>
#include <QTemporaryDir>
#include <cerrno>
#include <libusb.h>

#include "echo_instrument.h"
#include "fake_libusb.h"
#include "transport/bcp_packet.h"
#include "transport/usb_transport.h"

using vireo2::USB;
using vireo2::sim::Fault;
using vireo2::test::FakeUsbDevice;
using vireo2::test::UsbCall;

namespace {

constexpr quint16 kProduct = 0x30E1;

FakeUsbDevice& device()
{
    return FakeUsbDevice::instance();
}

// IN transfers other than the 10 ms drain reads before each write.
QList<UsbCall> replyReads()
{
    QList<UsbCall> reads;
    for (const UsbCall& call : device().calls(UsbCall::BulkIn)) {
        if (call.timeout != USB::kDrainTimeoutMs)
            reads << call;
    }
    return reads;
}

class UsbTransportTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        device().reset(vireo2::test::EchoInstrument::create(), usb.defaultVendorId(), kProduct);
        ASSERT_TRUE(usb.OpenPort("30E1"));
        device().clearCalls();
    }

    USB usb;
    QByteArray reply;
};

TEST_F(UsbTransportTest, OpensDefaultVendorWithProductAndClaimsInterfaceZero)
{
    usb.ClosePort();
    device().clearCalls();
    ASSERT_TRUE(usb.OpenPort("30e1"));
    const QList<UsbCall> calls = device().calls();
    ASSERT_EQ(calls.size(), 2);
    EXPECT_EQ(calls[0].kind, UsbCall::Open);
    EXPECT_EQ(calls[0].vendor, usb.defaultVendorId());
    EXPECT_EQ(calls[0].product, kProduct);
    EXPECT_EQ(calls[1].kind, UsbCall::Claim);
    EXPECT_EQ(calls[1].endpoint, 0);
    EXPECT_TRUE(usb.IsConnected());
}

TEST_F(UsbTransportTest, AddressPartsChooseVendorAndProduct)
{
    device().clearCalls();
    usb.OpenPort("1234:abcd");
    usb.OpenPort("1:2:3");
    usb.OpenPort("zz");
    const QList<UsbCall> opens = device().calls(UsbCall::Open);
    ASSERT_EQ(opens.size(), 3);
    EXPECT_EQ(opens[0].vendor, 0x1234);
    EXPECT_EQ(opens[0].product, 0xABCD);
    EXPECT_EQ(opens[1].vendor, usb.defaultVendorId());
    EXPECT_EQ(opens[1].product, 0);
    EXPECT_EQ(opens[2].product, 0);
    // The open handle was closed before the first new attempt.
    EXPECT_EQ(device().calls().first().kind, UsbCall::Close);
}

TEST_F(UsbTransportTest, EmptyAddressIsDeviceNotFoundWithMinusFour)
{
    EXPECT_FALSE(usb.OpenPort(QByteArray()));
    EXPECT_EQ(usb.GetErrorCode(), -4);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED OpenPort: USB Device not found"));
    EXPECT_TRUE(usb.IsConnected());  // refused before touching the open handle
}

TEST_F(UsbTransportTest, AbsentDeviceReportsErrno)
{
    EXPECT_FALSE(usb.OpenPort("1111"));
    EXPECT_FALSE(usb.IsConnected());
    EXPECT_EQ(usb.GetErrorCode(), ENOENT);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED OpenPort: USB Device not found"));
}

TEST_F(UsbTransportTest, BusyInterfaceClosesTheHandleAgain)
{
    usb.ClosePort();
    device().failClaim(LIBUSB_ERROR_BUSY, EBUSY);
    EXPECT_FALSE(usb.OpenPort("30E1"));
    EXPECT_EQ(usb.GetErrorCode(), EBUSY);
    EXPECT_FALSE(usb.IsConnected());
    EXPECT_EQ(device().openHandles(), 0);
}

TEST_F(UsbTransportTest, ExchangeDrainsWritesZeroLengthPacketAndReads)
{
    ASSERT_TRUE(usb.SendReceive("version", reply, 700, 0));
    EXPECT_EQ(reply, QByteArray(vireo2::test::EchoInstrument::kVersionReply));
    const QList<UsbCall> calls = device().calls();
    ASSERT_EQ(calls.size(), 4);
    EXPECT_EQ(calls[0].kind, UsbCall::BulkIn);
    EXPECT_EQ(calls[0].endpoint, 0x82);
    EXPECT_EQ(calls[0].timeout, 10u);
    EXPECT_EQ(calls[0].result, LIBUSB_ERROR_TIMEOUT);
    EXPECT_EQ(calls[1].kind, UsbCall::BulkOut);
    EXPECT_EQ(calls[1].endpoint, 0x01);
    EXPECT_EQ(calls[1].data, vireo2::bcp::frame("version"));
    EXPECT_EQ(calls[1].timeout, 0u);
    EXPECT_EQ(calls[2].kind, UsbCall::BulkOut);
    EXPECT_EQ(calls[2].length, 0);
    EXPECT_EQ(calls[2].timeout, 0u);
    EXPECT_EQ(calls[3].kind, UsbCall::BulkIn);
    EXPECT_EQ(calls[3].length, USB::kReceiveBufferSize);
    EXPECT_EQ(calls[3].timeout, 700u);
}

TEST_F(UsbTransportTest, EveryWriteIsFollowedByOneZeroLengthPacket)
{
    ASSERT_TRUE(usb.SendRaw(QByteArray(64, 'a').constData(), 64));
    ASSERT_TRUE(usb.SendRaw("0123456789", 10));
    QList<int> outLengths;
    for (const UsbCall& call : device().calls(UsbCall::BulkOut))
        outLengths << call.length;
    EXPECT_EQ(outLengths, (QList<int>{64, 0, 10, 0}));
}

TEST_F(UsbTransportTest, StaleReplyIsThrownAwayBeforeWriting)
{
    device().queueIn(vireo2::bcp::frame("STALE 0x00"));
    ASSERT_TRUE(usb.SendReceive("version", reply, 500, 0));
    EXPECT_EQ(reply, QByteArray(vireo2::test::EchoInstrument::kVersionReply));
    EXPECT_EQ(device().calls().first().data, vireo2::bcp::frame("STALE 0x00"));
}

TEST_F(UsbTransportTest, ReadTimeoutRecordsNoError)
{
    usb.SetError(0x1234, QStringLiteral("earlier"));
    device().engine().faults().add(Fault::on("version").silently());
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(usb.SendReceive("version", reply, 40, 0));
    EXPECT_GE(timer.elapsed(), 40);
    EXPECT_EQ(usb.GetErrorCode(), 0x1234);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("earlier"));
    EXPECT_EQ(usb.Receive(reply, 5), 0);
    EXPECT_EQ(usb.GetErrorCode(), 0x1234);
}

TEST_F(UsbTransportTest, ShortLengthFieldKeepsSurplusBytes)
{
    device().engine().faults().add(Fault::on("version").replying("MEAS 0x00 surplus").withLengthField(9));
    ASSERT_TRUE(usb.SendReceive("version", reply, 500, 0));
    EXPECT_EQ(reply, QByteArray("MEAS 0x00 surplus"));
}

TEST_F(UsbTransportTest, ValidationFailuresCarryUsbTexts)
{
    device().queueIn(QByteArray("\x7e\x00\x00\x00", 4) + '\x7f');
    EXPECT_FALSE(usb.RecvPacket(reply, 50));
    EXPECT_EQ(usb.GetErrorCode(), 0x5006);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED RecvPacket: Invalid packet length"));

    device().queueIn("x" + vireo2::bcp::frame("MEAS 0x00"));  // USB skips no noise
    EXPECT_FALSE(usb.RecvPacket(reply, 50));
    EXPECT_EQ(usb.GetErrorCode(), 0x5007);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED RecvPacket: Invalid BCP"));

    usb.SetError(0, QString());
    device().queueIn(QByteArray("\x7e\xff\xff\xff\xff", 5) + "MEAS\x7f");
    EXPECT_FALSE(usb.RecvPacket(reply, 50));
    EXPECT_EQ(usb.GetErrorCode(), 0x5007);
}

TEST_F(UsbTransportTest, SplitReplyIsNotReassembled)
{
    device().engine().faults().add(Fault::on("version").splitInto({8}, 0));
    EXPECT_FALSE(usb.SendReceive("version", reply, 200, 0));
    EXPECT_EQ(usb.GetErrorCode(), 0x5007);
}

TEST_F(UsbTransportTest, PollsWithUpperCaseDoneAndTimeoutFloor)
{
    device().engine().faults().add(Fault::on("meas run").withProgress(30, 3000, 3, QByteArray("MEAS 0x00")));
    ASSERT_TRUE(usb.SendReceive("Meas Run", reply, 800, 0));
    EXPECT_EQ(reply, QByteArray("MEAS 0x00"));
    const QList<QByteArray> expected{"Meas Run", "Meas DONE?", "Meas DONE?", "Meas DONE?"};
    EXPECT_EQ(device().engine().commands(), expected);

    // The caller's timeout, then the instrument's wait, then never below 5 s.
    QList<unsigned> timeouts;
    for (const UsbCall& call : replyReads())
        timeouts << call.timeout;
    EXPECT_EQ(timeouts, (QList<unsigned>{800, 3000, 5000, 5000}));
}

TEST_F(UsbTransportTest, PollTimeoutShrinksByElapsedTimeFromALongWait)
{
    device().engine().faults().add(Fault::on("meas run").withProgress(60, 20000, 2));
    ASSERT_TRUE(usb.SendReceive("Meas Run", reply, 800, 0));
    const QList<UsbCall> reads = replyReads();
    ASSERT_EQ(reads.size(), 3);
    EXPECT_EQ(reads[1].timeout, 20000u);
    EXPECT_LT(reads[2].timeout, 20000u - 60u);
    EXPECT_GT(reads[2].timeout, 19000u);
}

TEST_F(UsbTransportTest, InstrumentSuppliedDelayAndWaitAreBounded)
{
    // A corrupt progress reply must not park the caller for days.
    device().engine().faults().add(Fault::on("meas run").replying("MEAS 0x05 -40 999999999"));
    device().engine().faults().add(Fault::on("meas done?").replying("MEAS 0x00"));
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(usb.SendReceive("Meas Run", reply, 800, 0));
    EXPECT_LT(timer.elapsed(), 500);
    const QList<UsbCall> reads = replyReads();
    ASSERT_EQ(reads.size(), 2);
    EXPECT_EQ(reads[1].timeout, 600000u);
}

TEST_F(UsbTransportTest, OnlyFourWordDecimalFiveStartsPolling)
{
    // "0x1A" reads as 0 on USB; five words are not a progress reply.
    device().engine().faults().add(Fault::on("a").replying("A 0x1A 10 10"));
    device().engine().faults().add(Fault::on("b").replying("B 0x05 10 10 x"));
    device().engine().faults().add(Fault::on("c").replying("C 0x05"));
    for (const char* command : {"a", "b", "c"}) {
        ASSERT_TRUE(usb.SendReceive(command, reply, 300, 0));
    }
    EXPECT_EQ(reply, QByteArray("C 0x05"));
    EXPECT_EQ(device().engine().commands().size(), 3);
}

TEST_F(UsbTransportTest, PacketModeStaysOnWhateverIsSet)
{
    usb.SetPacketMode(false);
    ASSERT_TRUE(usb.SendReceive("version", reply, 300, 0));
    EXPECT_EQ(device().engine().commands(), QList<QByteArray>{"version"});
}

TEST_F(UsbTransportTest, WriteFailureReportsErrno)
{
    device().failNextWrite(LIBUSB_ERROR_IO, EIO);
    EXPECT_FALSE(usb.SendReceive("version", reply, 300, 0));
    EXPECT_EQ(usb.GetErrorCode(), EIO);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED Send: bulk transfer"));
    // No zero-length packet after a failed write.
    EXPECT_EQ(device().calls(UsbCall::BulkOut).size(), 1);
}

TEST_F(UsbTransportTest, ReadErrorReportsErrnoInDecimal)
{
    device().failNextRead(LIBUSB_ERROR_PIPE, EPIPE);
    EXPECT_EQ(usb.Receive(reply, 50), 0);
    EXPECT_EQ(usb.GetErrorCode(), EPIPE);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("Receive: Error code %1").arg(EPIPE));
}

TEST_F(UsbTransportTest, UnpluggedDeviceFailsTheWrite)
{
    device().engine().faults().add(Fault::on("version").dropping());
    EXPECT_FALSE(usb.SendReceive("version", reply, 50, 0));
    EXPECT_FALSE(usb.SendReceive("version", reply, 50, 0));
    EXPECT_EQ(usb.GetErrorCode(), ENODEV);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED Send: bulk transfer"));
}

TEST_F(UsbTransportTest, ReadsShareOneBuffer)
{
    ASSERT_TRUE(usb.SendReceive("version", reply, 300, 0));
    ASSERT_TRUE(usb.SendReceive("version", reply, 300, 0));
    const QList<UsbCall> reads = device().calls(UsbCall::BulkIn);
    ASSERT_EQ(reads.size(), 4);
    for (const UsbCall& read : reads)
        EXPECT_EQ(read.buffer, reads.first().buffer);
}

TEST_F(UsbTransportTest, ClosingTwiceClosesOnceAndDoesNotPause)
{
    usb.ClosePort();
    EXPECT_FALSE(usb.IsConnected());
    QElapsedTimer timer;
    timer.start();
    usb.ClosePort();
    EXPECT_LT(timer.elapsed(), 50);
    EXPECT_EQ(device().calls(UsbCall::Close).size(), 1);
    // A closed transport fails its writes instead of reaching libusb.
    EXPECT_FALSE(usb.Send("version", 0));
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED Send: bulk transfer"));
}

TEST(UsbVendorSetting, ReadsHexadecimalKeyOrKeepsFallback)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("spectro.ini"));
    auto vendorFor = [&](const QString& value) {
        {
            QSettings ini(file, QSettings::IniFormat);
            ini.setValue(QStringLiteral("Options/UsbVendorId"), value);
        }
        return USB::vendorIdSetting(file, 0xBEEF);
    };
    EXPECT_EQ(USB::vendorIdSetting(file, 0xBEEF), 0xBEEF);
    EXPECT_EQ(vendorFor(QStringLiteral("1a2B")), 0x1A2B);
    EXPECT_EQ(vendorFor(QStringLiteral("0x0C2E")), 0x0C2E);
    EXPECT_EQ(vendorFor(QStringLiteral("zz")), 0xBEEF);
    EXPECT_EQ(vendorFor(QStringLiteral("12345")), 0xBEEF);
}

TEST(UsbLifetime, DestructionClosesAnOpenDevice)
{
    {
        USB usb;
        device().reset(vireo2::test::EchoInstrument::create(), usb.defaultVendorId(), kProduct);
        ASSERT_TRUE(usb.OpenPort("30E1"));
        EXPECT_EQ(device().openHandles(), 1);
    }
    EXPECT_EQ(device().openHandles(), 0);
    EXPECT_EQ(device().calls(UsbCall::Init).size(), 0);  // init came before reset()
}

} // namespace
