#include "transport/usb_transport.h"

#include <QElapsedTimer>
#include <QList>
#include <QFileInfo>
#include <QSettings>
#include <QThread>
#include <cerrno>
#include <cstring>
#include <libusb.h>
#include <optional>

#include "settings/data_paths.h"
#include "transport/bcp_packet.h"
#include "transport/reply_parser.h"

namespace vireo2 {
namespace {

quint16 hexPart(const QByteArray& text)
{
    return quint16(text.toUInt(nullptr, 16));
}

qint32 usbStatus(const QByteArray& reply)
{
    return reply::decimalStatusWord(reply.split(' '));
}

// Polling needs exactly "<KEYWORD> 0x05 <delay> <wait>".
bool usbInProgress(const QByteArray& reply, bool packetMode, qint32* delayMs, qint32* waitMs)
{
    if (!packetMode)
        return false;
    const QList<QByteArray> words = reply.split(' ');
    if (words.size() != 4 || reply::decimalStatusWord(words) != kStatusInProgress)
        return false;
    *delayMs = words.at(2).toInt();
    *waitMs = words.at(3).toInt();
    return true;
}

const CTransport::PollingDialect kUsbDialect{&usbStatus, &usbInProgress, " DONE?"};

} // namespace

USB::USB()
{
    libusbReady_ = libusb_init(nullptr) == 0;
    packetMode_ = true;
    defaultVendorId_ = vendorIdSetting(paths::machineSettingsFiles(), kPlaceholderVendorId);
}

USB::~USB()
{
    if (IsConnected())
        ClosePort();
}

namespace {
// "Options/UsbVendorId" of one INI file, when it holds a 16-bit hexadecimal
// number ("1A2B" or "0x1A2B").
std::optional<quint16> readVendorId(const QString& iniFile)
{
    const QSettings ini(iniFile, QSettings::IniFormat);
    QString text = ini.value(QStringLiteral("Options/UsbVendorId")).toString().trimmed();
    if (text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        text = text.mid(2);
    bool ok = false;
    const uint value = text.toUInt(&ok, 16);
    if (!ok || value > 0xFFFF)
        return std::nullopt;
    return quint16(value);
}
} // namespace

quint16 USB::vendorIdSetting(const QString& iniFile, quint16 fallback)
{
    return readVendorId(iniFile).value_or(fallback);
}

quint16 USB::vendorIdSetting(const QStringList& iniFiles, quint16 fallback)
{
    for (const QString& file : iniFiles) {
        if (!QFileInfo::exists(file))
            continue;
        if (const auto vendor = readVendorId(file))
            return *vendor;
    }
    return fallback;
}

bool USB::IsConnected()
{
    return handle_ != nullptr;
}

bool USB::OpenPort(const QByteArray& address)
{
    const QList<QByteArray> parts = address.isEmpty() ? QList<QByteArray>() : address.split(':');
    if (parts.isEmpty()) {
        SetError(-4, QStringLiteral("FAILED OpenPort: USB Device not found"));
        return false;
    }
    quint16 vendor = defaultVendorId_;
    quint16 product = 0;
    if (parts.size() == 1) {
        product = hexPart(parts.at(0));
    } else if (parts.size() == 2) {
        vendor = hexPart(parts.at(0));
        product = hexPart(parts.at(1));
    }
    ClosePort();
    // Without a working libusb the default context does not exist; opening
    // through it would not fail cleanly.
    if (libusbReady_) {
        handle_ = libusb_open_device_with_vid_pid(nullptr, vendor, product);
        if (handle_ && libusb_claim_interface(handle_, kInterface) == 0)
            return true;
    }
    // The code is the C runtime's errno, not libusb's return value.
    SetError(errno, QStringLiteral("FAILED OpenPort: USB Device not found"));
    ClosePort();
    return false;
}

void USB::ClosePort()
{
    if (!handle_)
        return;
    // Closing releases the claimed interface.
    libusb_close(handle_);
    QThread::msleep(kClosePauseMs);
    handle_ = nullptr;
}

bool USB::SendRaw(const char* bytes, int length)
{
    // Whatever a previous command left on the IN endpoint is stale now.
    QByteArray stale;
    Receive(stale, kDrainTimeoutMs);

    int transferred = 0;
    int result = LIBUSB_ERROR_NO_DEVICE;
    if (handle_) {
        result = libusb_bulk_transfer(handle_, kEndpointOut,
                                      reinterpret_cast<unsigned char*>(const_cast<char*>(bytes)), length,
                                      &transferred, kWriteTimeoutMs);
    } else {
        errno = ENODEV;
    }
    const int writeErrno = errno;
    if (result == 0) {
        // The instrument takes a zero-length packet as the end of every write.
        unsigned char none = 0;
        int ignored = 0;
        libusb_bulk_transfer(handle_, kEndpointOut, &none, 0, &ignored, kWriteTimeoutMs);
    }
    if (result == 0 && transferred == length)
        return true;
    SetError(writeErrno, QStringLiteral("FAILED Send: bulk transfer"));
    return false;
}

bool USB::Send(const char* bytes, int length)
{
    if (length == 0)
        length = int(std::strlen(bytes));
    owedReplies_.sent(bytes, length);
    const QByteArray packet = bcp::frame(bytes, length);
    return SendRaw(packet.constData(), packet.size());
}

int USB::Receive(QByteArray& output, int timeoutMs)
{
    output.clear();
    if (receiveBuffer_.size() != kReceiveBufferSize)
        receiveBuffer_.resize(kReceiveBufferSize);
    int transferred = 0;
    int result = LIBUSB_ERROR_NO_DEVICE;
    if (handle_) {
        // libusb reads 0 as "no timeout": neither 0 nor a negative value may
        // become one, and no read waits longer than any reply is waited for.
        const unsigned int timeout = timeoutMs <= 0 ? 1u : unsigned(boundedReplyTimeout(timeoutMs));
        result = libusb_bulk_transfer(handle_, kEndpointIn, reinterpret_cast<unsigned char*>(receiveBuffer_.data()),
                                      kReceiveBufferSize, &transferred, timeout);
    } else {
        errno = ENODEV;
    }
    transferred = qBound(0, transferred, kReceiveBufferSize);
    lastReadTimedOut_ = result == LIBUSB_ERROR_TIMEOUT && transferred == 0;
    if (result != 0 && result != LIBUSB_ERROR_TIMEOUT) {
        const int readErrno = errno;
        SetError(readErrno, QStringLiteral("Receive: Error code %1").arg(readErrno));
        return transferred;
    }
    // A timeout is no error: it yields what arrived, usually nothing.
    output = QByteArray(receiveBuffer_.constData(), transferred);
    return transferred;
}

bool USB::RecvPacket(QByteArray& output, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (receivePacket(output, timeoutMs)) {
        // A late reply to an earlier command is dropped; the read goes on
        // for what is left of the timeout.
        if (!owedReplies_.settledBy(output))
            return true;
        timeoutMs -= int(qMin<qint64>(timer.restart(), timeoutMs));
        if (timeoutMs <= 0) {
            owedReplies_.missing();
            return false;
        }
    }
    return false;
}

bool USB::receivePacket(QByteArray& output, int timeoutMs)
{
    if (Receive(output, timeoutMs) == 0) {
        if (lastReadTimedOut_)
            owedReplies_.missing();
        return false;
    }
    if (!acceptPacket(bcp::validate(output, bcp::LengthRule::AtMost), errors::kUsbPacketLength,
                      errors::kUsbInvalidPacket))
        return false;
    bcp::unwrap(output);
    return true;
}

// USB replies arrive in the transport's own receive buffer: no destination.
bool USB::SendReceive(const char* command, QByteArray& response, int timeoutMs, int length, ReplyDestination*)
{
    return exchange(command, response, timeoutMs, length, kUsbDialect, packetMode_);
}

void USB::SetError(qint32 code, const QString& message)
{
    storeError(code, message);
}

} // namespace vireo2
