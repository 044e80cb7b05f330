#include "transport/ethernet_socket.h"

#include <QHostAddress>
#include <QTcpSocket>

#ifdef Q_OS_LINUX
#include <poll.h>
#endif

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
    peerClosed_ = std::move(peerClosed);
    // The socket has no event loop: its signal must be handled directly, on
    // the thread inside the socket call.
    QObject::connect(socket_, &QTcpSocket::disconnected, socket_, [this] { peerClosed_(); }, Qt::DirectConnection);
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

// An unbuffered read that meets the end of the connection leaves the
// socket unconnected without Qt's disconnected() signal: the owner is told
// here instead.
void EthernetSocket::noticeClosed()
{
    if (socket_->state() == QAbstractSocket::UnconnectedState)
        peerClosed_();
}

// Bytes nobody asked for stay in the kernel until the next read takes them
// (as noise before its packet, or as surplus after it); the idle sleep
// watches the descriptor for the end of the connection only.
int EthernetSocket::idleDescriptor() const
{
    return int(socket_->socketDescriptor());
}

void EthernetSocket::checkIdle()
{
    if (!connected() || !peerGone())
        return;
    // Read to the end: the connection is gone, and the read tells Qt so.
    discardUnread();
}

bool EthernetSocket::peerGone() const
{
#ifdef Q_OS_LINUX
    const qintptr descriptor = socket_->socketDescriptor();
    pollfd look{int(descriptor), POLLRDHUP, 0};
    return descriptor >= 0 && ::poll(&look, 1, 0) > 0 && (look.revents & (POLLRDHUP | POLLHUP | POLLERR));
#else
    return false;
#endif
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
    // Unbuffered: a read takes the bytes straight from the kernel into the
    // reply, with no copy through a buffer of Qt's.
    socket_->connectToHost(ip, port, QIODevice::ReadWrite | QIODevice::Unbuffered);
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
    char sink[4096];
    while (socket_->read(sink, sizeof sink) > 0) {
    }
    noticeClosed();
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
        const qint64 payloadSize = assembler_.expected() - bcp::kOverhead;
        if (!owner_->owedReplies().settledBy(QByteArray::fromRawData(assembler_.bodyData(), int(payloadSize))))
            return false;
        const QByteArray rest(assembler_.bodyData() + payloadSize + 1, int(assembler_.bodySize() - payloadSize - 1));
        assembler_.reset(packetMode);
        if (rest.isEmpty())
            return true;
        assembler_.append(rest.constData(), rest.size());
    }
    return assembler_.state() == State::Incomplete;
}

bool EthernetSocket::takeAvailable()
{
    bool took = false;
    while (!assembler_.headerComplete()) {
        char header[bcp::kHeaderSize];
        const qint64 count = socket_->read(header, assembler_.headerMissing());
        if (count <= 0)
            return took;
        took = true;
        if (assembler_.append(header, count) != bcp::PacketAssembler::State::Incomplete)
            return took;
    }
    // Up to kReadChunk more than the packet still needs, so that bytes
    // trailing it in the same delivery are seen as its surplus.
    const qint64 size = qMin<qint64>(qMax<qint64>(assembler_.expected() - assembler_.received(), 0) + kSurplusLook,
                                     kReadChunk);
    const qint64 count = socket_->read(assembler_.room(size), size);
    assembler_.commit(count);
    return took || count > 0;
}

int EthernetSocket::read(int timeoutMs, bool packetMode, ReplyDestination* destination)
{
    assembler_.reset(packetMode);
    assembler_.offer(destination);
    if (refused_ || !owner_->IsConnected())
        return 0;
    QElapsedTimer timer;
    timer.start();
    // A reply is seldom there the moment its command has left: the first
    // round waits before it reads. Later rounds take what the kernel already
    // holds without waiting.
    bool waitFirst = true;
    while (socket_->state() != QAbstractSocket::UnconnectedState) {
        if (waitFirst || !takeAvailable()) {
            if (!socket_->waitForReadyRead(readinessWaitMs(timer, timeoutMs)))
                socket_->waitForReadyRead(readinessWaitMs(timer, timeoutMs));
            takeAvailable();
        }
        waitFirst = false;
        noticeClosed();
        if (assembler_.state() != bcp::PacketAssembler::State::Incomplete && !dropLateReply(packetMode))
            return int(assembler_.received());
        // Compared as signed: QElapsedTimer::hasExpired() would take a
        // negative timeout as "never" and wait as long as the peer trickles.
        if (timer.elapsed() > qint64(timeoutMs)) {
            owner_->SetError(errors::kReceiveTimeout, QStringLiteral("Receive: TIMEOUT after receiving %1 bytes of %2")
                                         .arg(assembler_.received())
                                         .arg(assembler_.expected()));
            return 0;
        }
    }
    return 0;
}

} // namespace vireo2
