// USB against a simulated device behind the libusb functions
// (fake_libusb.cpp): the calls the transport makes, validation with the USB
// length rule, the exchange with its "DONE?" polls, failures.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSettings>
#include <QStringList>
#include <QTemporaryDir>
#include <QStandardPaths>
#include <cerrno>
#include <libusb.h>

#include "echo_instrument.h"
#include "fake_libusb.h"
#include "transport/bcp_packet.h"
#include "settings/data_paths.h"
#include "transport/usb_transport.h"

using vireo2::USB;
using vireo2::sim::Fault;
using vireo2::test::EchoInstrument;
using vireo2::test::FakeUsbDevice;
using vireo2::test::UsbCall;

namespace {

constexpr quint16 kProduct = 0x30E1;

FakeUsbDevice& device = FakeUsbDevice::instance();

// One call as a word: "open<vendor>:<product>" (hexadecimal), "claim<interface>",
// "out<length>" (with "/<timeout>" unless it has none), "in<timeout>" or "close".
QString word(const UsbCall& call)
{
    switch (call.kind) {
    case UsbCall::Open: return QStringLiteral("open%1:%2").arg(call.vendor, 0, 16).arg(call.product, 0, 16);
    case UsbCall::Claim: return QStringLiteral("claim%1").arg(call.endpoint);
    case UsbCall::BulkOut:
        return QStringLiteral("out%1").arg(call.length) + (call.timeout ? QStringLiteral("/%1").arg(call.timeout) : "");
    case UsbCall::BulkIn: return QStringLiteral("in%1").arg(call.timeout);
    case UsbCall::Close: break;
    }
    return QStringLiteral("close");
}

// The calls so far, one word each.
QString trace()
{
    QStringList words;
    for (const UsbCall& call : device.calls())
        words << word(call);
    return words.join(QLatin1Char(' '));
}

class UsbTransportTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        device.reset(EchoInstrument::create(), usb.defaultVendorId(), kProduct);
        ASSERT_TRUE(usb.OpenPort("30E1"));
        device.clearCalls();
    }

    vireo2::sim::FaultScript& faults() { return device.engine().faults(); }

    USB usb;
    QByteArray reply;
};

// Addresses are "PPPP" (default vendor) or "VVVV:PPPP"; other forms read as
// product 0. An empty one is refused before the open handle is touched; an
// open handle is closed first; a busy interface closes the handle again.
TEST_F(UsbTransportTest, OpensByVendorAndProductOrReportsWhyNot)
{
    const std::tuple<QByteArray, bool, qint32, const char*> cases[] = {
        {"", false, -4, ""},
        {"30e1", false, 0, "close openVID:30e1 claim0"},
        {"1111", false, ENOENT, "close openVID:1111"},
        {"1234:abcd", false, ENOENT, "open1234:abcd"},
        {"1:2:3", false, ENOENT, "openVID:0"},
        {"zz", false, ENOENT, "openVID:0"},
        {"30E1", true, EBUSY, "openVID:30e1 claim0 close"},
    };
    for (const auto& [address, busy, code, calls] : cases) {
        SCOPED_TRACE(address.constData());
        device.clearCalls();
        if (busy)
            device.failNext(UsbCall::Claim, LIBUSB_ERROR_BUSY, EBUSY);
        EXPECT_EQ(usb.OpenPort(address), code == 0);
        EXPECT_EQ(usb.IsConnected(), code == 0 || address.isEmpty());
        EXPECT_EQ(trace(), QString::fromUtf8(calls).replace("VID", QString::number(usb.defaultVendorId(), 16)));
        if (code != 0) {
            EXPECT_EQ(usb.GetErrorCode(), code);
            EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED OpenPort: USB Device not found"));
        }
    }
}

TEST_F(UsbTransportTest, ExchangeDrainsWritesAZeroLengthPacketAndReads)
{
    device.queueIn(vireo2::bcp::frame("STALE 0x00"));
    usb.SetPacketMode(false);  // USB frames its packets whatever is set
    ASSERT_TRUE(usb.SendReceive("version", reply, 700, 0));
    EXPECT_EQ(reply, QByteArray(EchoInstrument::kVersionReply));
    EXPECT_EQ(trace(), QStringLiteral("in10 out13 out0 in700"));
    const QList<UsbCall> calls = device.calls();
    EXPECT_EQ(calls[0].data, vireo2::bcp::frame("STALE 0x00"));  // thrown away
    EXPECT_EQ(calls[1].data, vireo2::bcp::frame("version"));
    EXPECT_EQ(calls[3].length, USB::kReceiveBufferSize);
    EXPECT_EQ(calls[3].buffer, calls[0].buffer);  // one read buffer for the transport's life
}

// Replies that come after their command timed out: the drain before the next
// write takes one; one that arrives after the drain is recognised as owed
// (its keyword is a timed-out command's) and dropped, and the read goes on
// for the command's own reply.
TEST_F(UsbTransportTest, LateRepliesNeverAnswerTheNextCommand)
{
    faults().add(Fault::on("probe").silently().repeated(2));
    EXPECT_FALSE(usb.SendReceive("probe one", reply, 30, 0));
    EXPECT_FALSE(usb.SendReceive("probe two", reply, 30, 0));
    device.queueIn(vireo2::bcp::frame("PROBE 0x00 one, late"));
    device.queueIn(vireo2::bcp::frame("PROBE 0x00 two, late"));
    device.clearCalls();
    ASSERT_TRUE(usb.SendReceive("version", reply, 700, 0));
    EXPECT_EQ(reply, QByteArray(EchoInstrument::kVersionReply));
    // The drain took the first, the read dropped the second and read on.
    EXPECT_TRUE(QRegularExpression("^in10 out13 out0 in700 in\\d+$").match(trace()).hasMatch()) << trace().toStdString();
    const QList<UsbCall> calls = device.calls();
    ASSERT_EQ(calls.size(), 5);
    EXPECT_EQ(calls[0].data, vireo2::bcp::frame("PROBE 0x00 one, late"));
    EXPECT_EQ(calls[3].data, vireo2::bcp::frame("PROBE 0x00 two, late"));
    EXPECT_EQ(calls[4].data, vireo2::bcp::frame(EchoInstrument::kVersionReply));
}

TEST_F(UsbTransportTest, ReadTimeoutRecordsNoError)
{
    usb.SetError(0x1234, QStringLiteral("earlier"));
    faults().add(Fault::on("version").silently());
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(usb.SendReceive("version", reply, 40, 0));
    EXPECT_GE(timer.elapsed(), 40);
    EXPECT_EQ(usb.Receive(reply, 5), 0);
    EXPECT_EQ(usb.GetErrorCode(), 0x1234);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("earlier"));
}

// Each read is one packet: a smaller length field keeps the surplus, noise
// is not skipped and a split reply is not put back together.
TEST_F(UsbTransportTest, ValidatesEachReadWithTheUsbLengthRule)
{
    const char* invalid = "FAILED RecvPacket: Invalid BCP";
    const std::tuple<const char*, QByteArray, qint32, const char*> cases[] = {
        {"surplus", QByteArray("\x7e\0\0\0\x09" "MEAS 0x00 surplus\x7f", 23), 0, "MEAS 0x00 surplus"},
        {"five bytes", QByteArray("\x7e\0\0\0\x7f", 5), 0x5006, "FAILED RecvPacket: Invalid packet length"},
        {"noise first", "x" + vireo2::bcp::frame("MEAS 0x00"), 0x5007, invalid},
        {"hostile length", QByteArray("\x7e\xff\xff\xff\xff" "MEAS\x7f", 10), 0x5007, invalid},
        {"first piece of a split reply", vireo2::bcp::frame("MEAS 0x00").left(8), 0x5007, invalid},
    };
    for (const auto& [what, bytes, code, text] : cases) {
        SCOPED_TRACE(what);
        usb.SetError(0, QString());
        device.queueIn(bytes);
        EXPECT_EQ(usb.RecvPacket(reply, 50), code == 0);
        EXPECT_EQ(usb.GetErrorCode(), code);
        EXPECT_EQ(code == 0 ? QString::fromUtf8(reply) : usb.GetErrorMessage(), QString::fromUtf8(text));
    }
}

// Each poll is drained before and followed by a zero-length packet. Its read
// waits the instrument's wait, less the time gone by but never below 5 s nor
// above the 30 s any reply is given; the delay before it is never negative.
TEST_F(UsbTransportTest, PollsWithUpperCaseDoneAndBoundedTimeouts)
{
    const std::pair<Fault, QString> cases[] = {
        {Fault::on("meas run").withProgress(30, 3000, 3), "in3000 in10 out16 out0 in5000 in10 out16 out0 in5000"},
        {Fault::on("meas run").withProgress(60, 20000, 2), "in20000 in10 out16 out0 in19\\d\\d\\d"},
        {Fault::on("meas run").withProgress(-40, 999999999, 1), "in30000"},
    };
    for (const auto& [fault, polls] : cases) {
        device.clearCalls();
        faults().add(fault);
        QElapsedTimer timer;
        timer.start();
        ASSERT_TRUE(usb.SendReceive("Meas Run", reply, 800, 0));
        EXPECT_LT(timer.elapsed(), 1000);
        EXPECT_EQ(reply, QByteArray("MEAS 0x00"));
        EXPECT_EQ(device.engine().commands().last(), QByteArray("Meas DONE?"));
        const QRegularExpression expected("^in10 out14 out0 in800 in10 out16 out0 " + polls + "$");
        EXPECT_TRUE(expected.match(trace()).hasMatch()) << trace().toStdString();
    }
}

TEST_F(UsbTransportTest, OnlyFourWordDecimalFiveStartsPolling)
{
    // "0x1A" reads as 0 on USB; five words are not a progress reply.
    for (const QByteArray text : {"A 0x1A 10 10", "B 0x05 10 10 x", "C 0x05"}) {
        faults().add(Fault::on("probe").replying(text));
        ASSERT_TRUE(usb.SendReceive("probe", reply, 300, 0));
        EXPECT_EQ(reply, text);
    }
    EXPECT_EQ(device.engine().commands().size(), 3);
}

TEST_F(UsbTransportTest, TransferErrorsReportErrno)
{
    device.failNext(UsbCall::BulkOut, LIBUSB_ERROR_IO, EIO);
    EXPECT_FALSE(usb.SendReceive("version", reply, 300, 0));
    EXPECT_EQ(usb.GetErrorCode(), EIO);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED Send: bulk transfer"));
    EXPECT_EQ(trace(), QStringLiteral("in10 out13"));  // no zero-length packet after a failed write

    device.failNext(UsbCall::BulkIn, LIBUSB_ERROR_PIPE, EPIPE);
    EXPECT_EQ(usb.Receive(reply, 50), 0);
    EXPECT_EQ(usb.GetErrorCode(), EPIPE);
    EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("Receive: Error code %1").arg(EPIPE));
}

TEST(UsbClosing, ClosesOnceWithoutPausingAgainAndOnDestruction)
{
    {
        USB usb;
        device.reset(EchoInstrument::create(), usb.defaultVendorId(), kProduct);
        ASSERT_TRUE(usb.OpenPort("30E1"));
        usb.ClosePort();
        QElapsedTimer timer;
        timer.start();
        usb.ClosePort();
        EXPECT_LT(timer.elapsed(), 50);
        EXPECT_FALSE(usb.IsConnected());
        EXPECT_FALSE(usb.Send("version", 0));  // without reaching libusb
        EXPECT_EQ(usb.GetErrorCode(), ENODEV);
        EXPECT_EQ(usb.GetErrorMessage(), QStringLiteral("FAILED Send: bulk transfer"));
        EXPECT_EQ(device.calls().size(), 3);  // open, claim, close
        ASSERT_TRUE(usb.OpenPort("30E1"));
    }
    EXPECT_EQ(device.calls().last().kind, UsbCall::Close);
}

TEST(UsbVendorSetting, ReadsHexadecimalKeyOrKeepsFallback)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("spectro.ini"));
    EXPECT_EQ(USB::vendorIdSetting(file, 0xBEEF), 0xBEEF);
    const std::pair<const char*, quint16> cases[] = {{"1a2B", 0x1A2B}, {"0x0C2E", 0x0C2E}, {"zz", 0xBEEF}, {"12345", 0xBEEF}};
    for (const auto& [text, vendor] : cases) {
        QSettings(file, QSettings::IniFormat).setValue(QStringLiteral("Options/UsbVendorId"), QString::fromUtf8(text));
        EXPECT_EQ(USB::vendorIdSetting(file, 0xBEEF), vendor) << text;
    }
}

// The first file with a valid value wins, so a value beside the library
// overrides the user's, and the user's the system's; a file without the key
// or with a bad value is passed over.
TEST(UsbVendorSetting, SearchesTheSettingsFilesInOrder)
{
    QTemporaryDir dir;
    const QStringList files{dir.filePath(QStringLiteral("beside.ini")), dir.filePath(QStringLiteral("user.ini")),
                            dir.filePath(QStringLiteral("system.ini"))};
    const auto set = [](const QString& file, const char* text) {
        QSettings(file, QSettings::IniFormat).setValue(QStringLiteral("Options/UsbVendorId"), QString::fromUtf8(text));
    };
    EXPECT_EQ(USB::vendorIdSetting(files, 0xBEEF), 0xBEEF);
    set(files[2], "0C2E");
    EXPECT_EQ(USB::vendorIdSetting(files, 0xBEEF), 0x0C2E);
    set(files[1], "not hex");
    EXPECT_EQ(USB::vendorIdSetting(files, 0xBEEF), 0x0C2E);
    set(files[1], "1a2b");
    EXPECT_EQ(USB::vendorIdSetting(files, 0xBEEF), 0x1A2B);
    set(files[0], "0x0000");
    EXPECT_EQ(USB::vendorIdSetting(files, 0xBEEF), 0x0000);

    // The user's configuration folder and /etc are among the places searched,
    // after the library's own folder.
    const QStringList searched = vireo2::paths::machineSettingsFiles();
    ASSERT_GE(searched.size(), 3);
    EXPECT_TRUE(searched.first().endsWith(QStringLiteral("/spectro.ini")));
    EXPECT_TRUE(searched.contains(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
                                  + QStringLiteral("/Hueron/spectro.ini")));
    EXPECT_EQ(searched.last(), QStringLiteral("/etc/Hueron/spectro.ini"));
}

} // namespace
