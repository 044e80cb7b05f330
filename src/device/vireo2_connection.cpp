// Connecting, identifying and disconnecting the instrument.
#include "device/vireo2.h"
#include "transport/network_address.h"
#include "scanning/vireo2_scanning.h"
#include "threading/locks.h"

#include <QThread>

#include "device/error_record_keeper.h"
#include "transport/ethernet_transport.h"
#include "transport/reply_parser.h"
#include "transport/usb_transport.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr int kIdentifyTimeoutMs = 3000;
constexpr int kDefaultAttempts = 5;
constexpr int kClosePollMs = 200;
// A transport that never reports itself closed is given up on after this
// many polls (5 s) so that Disconnect always returns.
constexpr int kClosePollLimit = 25;

const QString kUsb = QStringLiteral("USB");
const QString kUsbNetwork = QStringLiteral("USB_TCPIP");
const QByteArray kUsbProductId = QByteArrayLiteral("30E1");
const QByteArray kInstrumentPort = QByteArrayLiteral(":60001");

// "connection_attempts" outside 1..5, or not a number, means 5.
int attemptLimit(const QString& value)
{
    bool ok = false;
    const int attempts = value.trimmed().toInt(&ok);
    return ok && attempts >= 1 && attempts <= 5 ? attempts : kDefaultAttempts;
}

const QByteArray kTrackPort = QByteArrayLiteral(":23");

// A configured "host:port" keeps its port (an impossible one is then
// refused when the link opens, never wrapped); any other address gets
// `port` appended.
QByteArray withPort(const QString& address, const QByteArray& port)
{
    const QByteArray host = address.trimmed().toUtf8();
    return NetworkAddress::namesPort(address) ? host : host + port;
}

} // namespace

bool Vireo2::Connect()
{
    connected_ = false;
    if (disconnecting_)
        return false;
    Disconnect();
    if (connecting_)
        return false;
    connecting_ = true;
    log_->ProfileMark();

    if (trackInUse_) {
        // A failed track link leaves `connecting_` set on purpose: only a
        // Disconnect made while switching methods or a new device clears it.
        if (!connectTrack(QString::fromUtf8(withPort(GetOption(QStringLiteral("TR3_Address")), kTrackPort))))
            return false;
    }

    // Teardown of a failed attempt: this Connect may interrupt itself.
    auto abandon = [this] {
        if (!disconnecting_) {
            switchingMethod_ = true;
            Disconnect();
            switchingMethod_ = false;
        }
        connecting_ = false;
        connected_ = false;
        return false;
    };

    if (instrumentPresent_) {
        if (!OpenPort()) {
            const QString method = GetOption(QStringLiteral("Connection_Method"));
            if (method != kUsb && method != kUsbNetwork) {
                connecting_ = false;
                return false;
            }
            if (disconnecting_) {
                connecting_ = false;
                connected_ = false;
                return false;
            }
            // Fall back once to the other link of the USB cable and remember
            // it, so that the next Connect starts with the link tried last.
            switchingMethod_ = true;
            Disconnect();
            switchingMethod_ = false;
            SetOption(QStringLiteral("connection_method"), method == kUsb ? kUsbNetwork : kUsb);
            if (!OpenPort()) {
                connecting_ = false;
                connected_ = false;
                return false;
            }
        }
        log_->ProfileMark(QStringLiteral("OpenPort"));
    }

    if (!Identify())
        return abandon();
    if (!startStatusThread())
        return abandon();

    log_->setError(0, QStringLiteral("<00>"));
    connected_ = true;
    stateText_ = QStringLiteral("0");
    connecting_ = false;
    setPollEnabled(true);
    return true;
}

bool Vireo2::OpenPort()
{
    log_->clearExchange();
    if (transport_.load())
        ClosePort();

    const QString method = GetOption(QStringLiteral("Connection_Method")).toUpper();
    QByteArray address;
    if (method == kUsb) {
        address = kUsbProductId;
        delete usbTransport_;
        usbTransport_ = new USB();
        transport_ = usbTransport_;
    } else {
        address = method == kUsbNetwork ? usbNetworkAddress()
                                        : withPort(GetOption(QStringLiteral("device_ip_address")), kInstrumentPort);
        delete ethernetTransport_;
        ethernetTransport_ = new CEthernet();
        transport_ = ethernetTransport_;
    }

    const int attempts = attemptLimit(GetOption(QStringLiteral("connection_attempts")));
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        if (transport_.load()->OpenPort(address))
            return true;
        if (log_->debug()) {
            log_->WriteLine(QStringLiteral("OpenPort attempt %1 of %2 failed: %3")
                                .arg(attempt)
                                .arg(attempts)
                                .arg(transport_.load()->GetErrorMessage()));
        }
    }
    log_->LogError(errors::kConnectFailed, errors::kConnectFailed.message() + transport_.load()->GetErrorMessage());
    return false;
}

QByteArray Vireo2::usbNetworkAddress() const
{
    return QByteArrayLiteral("192.168.7.2") + kInstrumentPort;
}

bool Vireo2::Identify()
{
    auto send = [this](const QString& command, QString* value) {
        QByteArray reply;
        const qint32 status = Transact(command, reply, kIdentifyTimeoutMs);
        if (status == 0 && value)
            *value = ResponseValue(reply);
        return status == 0;
    };

    QString text;
    if (instrumentPresent_) {
        if (!send(QStringLiteral("version"), &text))
            return false;
        const QStringList words = text.split(QLatin1Char(' '));
        identity_[0] = words.size() >= 2 ? words.at(1) : QString();
        identity_[3] = words.size() >= 4 ? words.at(3) : QString();
    }

    // Leave no stale completion pending from an earlier session.
    send(QStringLiteral("meas done?"), nullptr);
    send(QStringLiteral("scan done?"), nullptr);
    scanState_ = 0;

    if (send(QStringLiteral("SerialNum Get Inst"), &text) && text != identity_[2].get()) {
        identity_[2] = text;
        storedDataRead_ = false;
    }

    calibrated_ = GetCalStatus() == 0;

    aperture_ = QStringLiteral("2.0mm");
    readingIndex_ = -1;
    if (send(QStringLiteral("MeasConfig Get APERTURE"), &text))
        aperture_ = text;

    if (send(QStringLiteral("version get"), &text)) {
        setFirmwareVersion(text);
        identity_[1] = text;
    }

    identified_ = true;
    return true;
}

bool Vireo2::Disconnect()
{
    setPollEnabled(false);
    checkBusy_ = false;
    if (connecting_ && !switchingMethod_)
        return false;
    if (disconnecting_.exchange(true))
        return false;

    stopStatusThread();
    disconnectTrack();

    if (CTransport* transport = transport_.load()) {
        transport->ClosePort();
        for (int poll = 0; poll < kClosePollLimit && transport->IsConnected(); ++poll)
            QThread::msleep(kClosePollMs);
        transport_ = nullptr;
        releaseTransports();
    }

    // Wireless configurations added in a burst reach the disk now.
    settings_.wirelessConfigs->flush();
    dataReady_ = false;
    scanDataRead_ = false;
    stateText_ = QStringLiteral("0");
    aperture_ = QStringLiteral("Unknown");
    connected_ = false;
    disconnecting_ = false;
    return true;
}

// Without the operation lock (a lock that could not be had, a status check
// that did not stop in time) another thread may be inside an exchange: its
// transport is then kept until the device goes, instead of being destroyed
// under it.
void Vireo2::releaseTransports()
{
    const bool exclusive = operationMutex_->tryLock(0);
    for (CTransport* transport : {static_cast<CTransport*>(ethernetTransport_), static_cast<CTransport*>(usbTransport_)}) {
        if (!transport)
            continue;
        if (exclusive)
            delete transport;
        else
            retiredTransports_.emplace_back(transport, [](CTransport* t) { delete t; });
    }
    ethernetTransport_ = nullptr;
    usbTransport_ = nullptr;
    if (exclusive)
        operationMutex_->unlock();
}

bool Vireo2::IsConnected()
{
    return connected_ && transport_.load() != nullptr;
}

bool Vireo2::isPortValid()
{
    CTransport* transport = transport_.load();
    return transport && transport->IsConnected();
}

void Vireo2::ClosePort()
{
    if (CTransport* transport = transport_.load())
        transport->ClosePort();
}

bool Vireo2::connectTrack(const QString& address)
{
    return scanning_->connect(address);
}

void Vireo2::disconnectTrack()
{
    scanning_->disconnect();
}

QString Vireo2::buttonText() const
{
    MutexLocker lock(&buttonMutex_);
    return buttonText_;
}

QStringList Vireo2::buttonWords() const
{
    MutexLocker lock(&buttonMutex_);
    return buttonWords_;
}

} // namespace vireo2
