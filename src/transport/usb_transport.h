#pragma once

#include <QByteArray>

#include "transport/ctransport.h"

struct libusb_device_handle;

namespace vireo2 {

// The instrument over its USB bulk endpoints, through libusb's default
// context, in the calling thread. Every write is preceded by a short read that
// throws away any stale reply, and followed by a zero-length packet.
// (No Q_OBJECT: binaries that never open USB must not need libusb, and the
// moc code of this library is linked as one object.)
class USB : public CTransport {
public:
    static constexpr int kInterface = 0;
    static constexpr unsigned char kEndpointOut = 0x01;
    static constexpr unsigned char kEndpointIn = 0x82;
    // A reply must arrive in one bulk read of at most this many bytes.
    static constexpr int kReceiveBufferSize = 1000000;
    static constexpr int kDrainTimeoutMs = 10;
    static constexpr unsigned int kWriteTimeoutMs = 0;  // no timeout
    static constexpr int kClosePauseMs = 100;

    // Vendor identifier used when the address names only the product. This
    // is a neutral placeholder: the instrument maker's identifier is set with
    // the hexadecimal key "Options/UsbVendorId" of a "spectro.ini", the first
    // of paths::machineSettingsFiles() that has a valid one.
    static constexpr quint16 kPlaceholderVendorId = 0x0000;

    USB();
    ~USB() override;

    bool IsConnected() override;
    // "PPPP" (product, hexadecimal, default vendor) or "VVVV:PPPP".
    bool OpenPort(const QByteArray& address) override;
    void ClosePort() override;
    bool SendRaw(const char* bytes, int length) override;
    bool Send(const char* bytes, int length) override;
    int Receive(QByteArray& output, int timeoutMs) override;
    bool RecvPacket(QByteArray& output, int timeoutMs) override;
    bool SendReceive(const char* command, QByteArray& response, int timeoutMs, int length,
                     ReplyDestination* destination = nullptr) override;
    using CTransport::SetError;
    void SetError(qint32 code, const QString& message) override;

    quint16 defaultVendorId() const { return defaultVendorId_; }

    // "Options/UsbVendorId" of the INI file `iniFile` ("1A2B" or "0x1A2B");
    // `fallback` when it is absent or not a 16-bit hexadecimal number.
    static quint16 vendorIdSetting(const QString& iniFile, quint16 fallback);
    // The first valid "Options/UsbVendorId" of `iniFiles`, else `fallback`.
    static quint16 vendorIdSetting(const QStringList& iniFiles, quint16 fallback);

private:
    libusb_device_handle* handle_ = nullptr;
    quint16 defaultVendorId_ = kPlaceholderVendorId;
    bool libusbReady_ = false;
    // One read buffer for the transport's life instead of one per read.
    QByteArray receiveBuffer_;
    // The last read ended at its timeout with nothing read.
    bool lastReadTimedOut_ = false;

    // Receive, then validate and unwrap one packet.
    bool receivePacket(QByteArray& output, int timeoutMs);
};

} // namespace vireo2
