#include "transport/ethernet_socket.h"

#include <QHostAddress>
#include <QTcpSocket>

#include "transport/ethernet_transport.h"
#include "transport/network_address.h"

namespace vireo2 {

EthernetSocket::~EthernetSocket()
{
    destroy();
}

void EthernetSocket::create(std::function<void()> peerClosed)
{
    socket_ = new QTcpSocket;
    socket_->setReadBufferSize(kBufferCap);
    // The socket has no event loop: its signal must be handled directly, on
    // the thread inside the socket call.
    QObject::connect(socket_, &QTcpSocket::disconnected, socket_, std::move(peerClosed), Qt::DirectConnection);
}

void EthernetSocket::destroy()
{
    delete socket_;
    socket_ = nullptr;
}

bool EthernetSocket::connected() const
{
    return socket_->state() == QAbstractSocket::ConnectedState;
}

int EthernetSocket::idleDescriptor() const
{
    if (socket_->bytesAvailable() >= kBufferCap)
        return -1;
    return int(socket_->socketDescriptor());
}

void EthernetSocket::checkIdle()
{
    if (connected())
        socket_->waitForReadyRead(0);
}

void EthernetSocket::drop(bool refuse)
{
    if (refuse)
        refused_ = true;
    if (socket_->state() != QAbstractSocket::UnconnectedState) {
        socket_->disconnectFromHost();
        if (socket_->state() != QAbstractSocket::UnconnectedState)
            socket_->abort();
    }
    owner_->setConnected(false);
}

bool EthernetSocket::connectTo(const QString& address)
{
    refused_ = false;
    if (socket_->state() != QAbstractSocket::UnconnectedState)
        socket_->abort();
    const std::optional<NetworkAddress> parsed = NetworkAddress::parse(address, kDefaultPort);
    if (!parsed) {
        owner_->SetError(QAbstractSocket::HostNotFoundError,
                         QStringLiteral("Invalid address \"%1\" (host[:port], port 1 to 65535)").arg(address));
        return false;
    }
    const QString& host = parsed->host;
    const quint16 port = parsed->port;

    // Numeric addresses only: a host name is refused here rather than looked
    // up, as the instrument is always reached by its IP address.
    QHostAddress ip;
    if (!ip.setAddress(host)) {
        owner_->SetError(QAbstractSocket::HostNotFoundError, QStringLiteral("Host not found"));
        return false;
    }
    socket_->connectToHost(ip, port, QIODevice::ReadWrite);
    if (!socket_->waitForConnected(kConnectTimeoutMs)) {
        owner_->SetError(socket_->error(), socket_->errorString());
        socket_->abort();
        return false;
    }
    // Options only take effect on an open socket.
    socket_->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
    socket_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    owner_->setConnected(true);
    return true;
}

// Whatever arrived unasked (a reply that came too late for its command) is
// dropped before a command goes out, so that it cannot be read as the new
// command's reply.
void EthernetSocket::discardUnread()
{
    if (socket_->bytesAvailable() == 0)
        socket_->waitForReadyRead(0);
    if (socket_->bytesAvailable() > 0)
        socket_->skip(socket_->bytesAvailable());
}

bool EthernetSocket::write(const char* bytes, int length)
{
    if (refused_ || !owner_->IsConnected() || !connected())
        return false;
    discardUnread();
    if (!connected())
        return false;
    socket_->write(bytes, length);
    if (socket_->state() == QAbstractSocket::UnconnectedState)
        return false;
    QElapsedTimer timer;
    timer.start();
    while (socket_->bytesToWrite() > 0) {
        const qint64 left = kWriteTimeoutMs - timer.elapsed();
        if (left <= 0 || !socket_->waitForBytesWritten(int(left))) {
            owner_->SetError(socket_->error(), socket_->errorString());
            return false;
        }
    }
    return true;
}

int EthernetSocket::readinessWaitMs(const QElapsedTimer& timer, int timeoutMs) const
{
    if (!owner_->readBoundedByTimeout())
        return kReadinessWaitMs;
    const qint64 left = qint64(timeoutMs) - timer.elapsed();
    return int(qBound<qint64>(1, left + 1, kReadinessWaitMs));
}

// A complete packet that answers an earlier command (one whose reply timed
// out) is dropped; bytes after it start the next packet. True when the read
// must go on.
bool EthernetSocket::dropLateReply(bool packetMode)
{
    using State = bcp::PacketAssembler::State;
    while (packetMode && assembler_.state() == State::Complete) {
        QByteArray& buffer = assembler_.buffer();
        const qint64 size = assembler_.expected();
        if (!owner_->owedReplies().settledBy(buffer.mid(5, int(size) - 6)))
            return false;
        const QByteArray rest = buffer.mid(int(size));
        assembler_.reset(packetMode);
        if (rest.isEmpty())
            return true;
        assembler_.append(rest.constData(), rest.size());
    }
    return assembler_.state() == State::Incomplete;
}

int EthernetSocket::read(int timeoutMs, bool packetMode)
{
    assembler_.reset(packetMode);
    if (refused_ || !owner_->IsConnected())
        return 0;
    if (chunk_.size() != kReadChunk)
        chunk_.resize(kReadChunk);
    QElapsedTimer timer;
    timer.start();
    while (socket_->state() != QAbstractSocket::UnconnectedState) {
        // Bytes already buffered by the socket need no waiting.
        if (socket_->bytesAvailable() == 0 && !socket_->waitForReadyRead(readinessWaitMs(timer, timeoutMs)))
            socket_->waitForReadyRead(readinessWaitMs(timer, timeoutMs));
        const qint64 count = socket_->read(chunk_.data(), kReadChunk);
        if (count > 0 && assembler_.append(chunk_.constData(), count) != bcp::PacketAssembler::State::Incomplete
            && !dropLateReply(packetMode))
            return assembler_.buffer().size();
        // Compared as signed: QElapsedTimer::hasExpired() would take a
        // negative timeout as "never" and wait as long as the peer trickles.
        if (timer.elapsed() > qint64(timeoutMs)) {
            owner_->SetError(0x5005, QStringLiteral("Receive: TIMEOUT after receiving %1 bytes of %2")
                                         .arg(assembler_.buffer().size())
                                         .arg(assembler_.expected()));
            return 0;
        }
    }
    return 0;
}

} // namespace vireo2
