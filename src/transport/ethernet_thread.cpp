#include "transport/ethernet_thread.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QHostAddress>
#include "threading/locks.h"
#include <QStringList>
#include <QTcpSocket>
#include <chrono>
#include <climits>

#ifdef Q_OS_LINUX
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#endif

#include "settings/log_category.h"
#include "transport/ethernet_transport.h"
#include "transport/idle_event_dispatcher.h"

namespace vireo2 {
namespace {

inline void cpuRelax()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

// A yield that gives the core away for longer than this means other threads
// are keeping it busy; spinning then pauses for kSpinPauseNanos.
constexpr qint64 kCrowdedYieldNanos = 500 * 1000;
constexpr qint64 kSpinPauseNanos = 200 * 1000 * 1000;

// Steady-clock time until which hand-overs wait without spinning; shared by
// all transports, as crowded cores are a property of the machine.
std::atomic<qint64> gSpinPausedUntil{0};

qint64 steadyNanos()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool spinningPaused()
{
    return steadyNanos() < gSpinPausedUntil.load(std::memory_order_relaxed);
}

void pauseSpinning()
{
    gSpinPausedUntil.store(steadyNanos() + kSpinPauseNanos, std::memory_order_relaxed);
}

// Qt stops pulling bytes from the kernel beyond this, so a peer that streams
// while nobody reads cannot grow the socket's buffer without bound.
constexpr qint64 kSocketBufferCap = 4 * qint64(EthernetThread::kReadChunk);

} // namespace

EthernetThread::EthernetThread(CEthernet* owner) : owner_(owner)
{
    // No event loop ever runs on the worker; see IdleEventDispatcher.
    setEventDispatcher(new IdleEventDispatcher);
    // Also the name the system shows for the thread.
    setObjectName(QStringLiteral("EthernetThread"));
#ifdef Q_OS_LINUX
    wakeFd_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
#endif
}

EthernetThread::~EthernetThread()
{
    quitAndWait();
#ifdef Q_OS_LINUX
    if (wakeFd_ >= 0)
        ::close(wakeFd_);
#endif
}

void EthernetThread::signalWake()
{
#ifdef Q_OS_LINUX
    if (wakeFd_ >= 0) {
        const quint64 one = 1;
        [[maybe_unused]] const ssize_t written = ::write(wakeFd_, &one, sizeof one);
    }
#endif
}

bool EthernetThread::sleepOnIdleSocket(MutexLocker<Mutex>& lock)
{
#ifdef Q_OS_LINUX
    const qintptr socketFd = socket_->socketDescriptor();
    // With Qt's read buffer full the socket stays readable: poll() would not
    // sleep, so the timed look below takes over.
    if (wakeFd_ >= 0 && socketFd >= 0 && socket_->bytesAvailable() < kSocketBufferCap) {
        lock.unlock();
        pollfd fds[2] = {{int(socketFd), POLLIN | POLLRDHUP, 0}, {wakeFd_, POLLIN, 0}};
        ::poll(fds, 2, -1);
        quint64 count = 0;
        [[maybe_unused]] const ssize_t drained = ::read(wakeFd_, &count, sizeof count);
        const bool socketSpoke = fds[0].revents != 0;
        if (socketSpoke)
            checkIdleSocket();
        lock.relock();
        return true;
    }
#endif
    const bool woken = requestReady_.wait(&mutex_, kIdleCheckMs);
    if (!woken && request_ == Request::None) {
        lock.unlock();
        checkIdleSocket();
        lock.relock();
    }
    return woken;
}

void EthernetThread::startAndWait()
{
    MutexLocker lock(&mutex_);
    start();
    while (!running_)
        requestDone_.wait(&mutex_);
}

void EthernetThread::splitAddress(const QString& address, QString* host, quint16* port)
{
    const QStringList parts = address.split(QLatin1Char(':'));
    *host = parts.value(0);
    *port = kDefaultPort;
    if (parts.size() > 1 && !parts.at(1).isEmpty())
        *port = quint16(parts.at(1).toInt());
}

bool EthernetThread::connectTo(const QString& address)
{
    MutexLocker requester(&submitMutex_);
    {
        MutexLocker lock(&mutex_);
        address_ = address;
        closing_ = false;
    }
    submit(Request::Connect);
    return result();
}

bool EthernetThread::write(const char* bytes, int length)
{
    MutexLocker requester(&submitMutex_);
    {
        MutexLocker lock(&mutex_);
        writeData_ = bytes;
        writeLength_ = length;
    }
    submit(Request::Write);
    return result();
}

int EthernetThread::read(QByteArray& output, int timeoutMs, bool packetMode)
{
    MutexLocker requester(&submitMutex_);
    {
        MutexLocker lock(&mutex_);
        readTimeoutMs_ = timeoutMs;
        readPacketMode_ = packetMode;
    }
    submit(Request::Read);
    MutexLocker lock(&mutex_);
    // Hand the reply over without copying; the worker keeps the caller's old
    // array as its next buffer.
    output.swap(assembler_.buffer());
    return readCount_;
}

EthernetThread::Transfer EthernetThread::writeThenRead(const char* bytes, int length, QByteArray& output,
                                                        int timeoutMs, bool packetMode)
{
    MutexLocker requester(&submitMutex_);
    {
        MutexLocker lock(&mutex_);
        writeData_ = bytes;
        writeLength_ = length;
        readTimeoutMs_ = timeoutMs;
        readPacketMode_ = packetMode;
    }
    submit(Request::WriteThenRead);
    MutexLocker lock(&mutex_);
    if (!result_)
        return Transfer::WriteFailed;
    if (!readRan_)
        return Transfer::NotConnectedToRead;
    output.swap(assembler_.buffer());
    return Transfer::Read;
}

void EthernetThread::disconnectAndClose()
{
    MutexLocker requester(&submitMutex_);
    {
        MutexLocker lock(&mutex_);
        closing_ = true;
    }
    submit(Request::Disconnect);
}

void EthernetThread::quitAndWait()
{
    {
        MutexLocker requester(&submitMutex_);
        submit(Request::Quit);
    }
    wait();
    exitFence_.joined();
}

bool EthernetThread::result() const
{
    MutexLocker lock(&mutex_);
    return result_;
}

template <typename Condition>
bool EthernetThread::briefly(Condition condition)
{
    if (spinningPaused())
        return condition();
    QElapsedTimer timer;
    timer.start();
    do {
        for (int i = 0; i < 64; ++i) {
            if (condition())
                return true;
            cpuRelax();
        }
        // Let a thread waiting for this core run. When that costs a long
        // time slice, the cores are crowded with busy threads and every
        // further yield would cost as much: hand over by waiting instead.
        const qint64 beforeYield = timer.nsecsElapsed();
        QThread::yieldCurrentThread();
        if (timer.nsecsElapsed() - beforeYield > kCrowdedYieldNanos) {
            pauseSpinning();
            break;
        }
    } while (timer.nsecsElapsed() < kHandOverSpinMicros * 1000);
    return condition();
}

void EthernetThread::submit(Request request)
{
    {
        MutexLocker lock(&mutex_);
        if (!running_) {
            // A worker that has stopped serves nothing: the request fails
            // rather than reporting an earlier request's outcome.
            result_ = false;
            readRan_ = false;
            readCount_ = 0;
            assembler_.buffer().clear();
            lock.unlock();
            if (request == Request::Read)
                owner_->SetError(0x5004, QStringLiteral("FAILED Receive: NOT Connected"));
            else if (request != Request::Disconnect && request != Request::Quit)
                owner_->SetError(0x5001, QStringLiteral("FAILED Send: NOT Connected"));
            return;
        }
        done_ = false;
        request_ = request;
    }
    // Woken after unlocking, so the worker does not block on our mutex.
    requestReady_.wakeOne();
    signalWake();
    if (briefly([this] { return done_.load(); }))
        return;
    MutexLocker lock(&mutex_);
    while (!done_)
        requestDone_.wait(&mutex_);
}

// Called on the worker thread, from inside a socket call, when the
// connection ends. The loop then clears the owner's connected flag.
void EthernetThread::clientDisconnected()
{
    qCDebug(libraryLog) << "Device Disconnected - PORT DISCONNECT!!.";
    MutexLocker lock(&mutex_);
    peerClosed_ = true;
    requestReady_.wakeOne();
}

void EthernetThread::run()
{
    socket_ = new QTcpSocket;
    socket_->setReadBufferSize(kSocketBufferCap);
    // The socket lives here and has no event loop: its signals must reach
    // this object directly, on this thread.
    connect(socket_, &QTcpSocket::disconnected, this, &EthernetThread::clientDisconnected, Qt::DirectConnection);

    MutexLocker lock(&mutex_);
    running_ = true;
    requestDone_.wakeAll();
    bool justServed = false;
    for (;;) {
        const Request request = nextRequest(lock, justServed);
        if (request != Request::None) {
            lock.unlock();
            serve(request);
            lock.relock();
        }
        // A disconnection noticed while serving is settled before the
        // requester learns the outcome, so IsConnected() is already false.
        if (peerClosed_) {
            lock.unlock();
            settlePeerClosed();
            lock.relock();
        }
        justServed = request != Request::None;
        if (justServed) {
            request_ = Request::None;
            done_ = true;
            // Wake the requester once the mutex is free for it.
            lock.unlock();
            requestDone_.wakeAll();
            lock.relock();
        }
        if (request == Request::Quit)
            break;
    }
    running_ = false;
    lock.unlock();
    delete socket_;
    socket_ = nullptr;
    exitFence_.threadDone();
}

// Waits (mutex_ held) until a request or a disconnection needs attention.
EthernetThread::Request EthernetThread::nextRequest(MutexLocker<Mutex>& lock, bool justServed)
{
    if (justServed && request_ == Request::None) {
        // The next request of an exchange usually follows at once.
        lock.unlock();
        briefly([this] { return request_.load() != Request::None; });
        lock.relock();
    }
    while (request_ == Request::None && !peerClosed_) {
        // Only a connected socket needs watching; otherwise sleep until asked.
        if (socket_->state() == QAbstractSocket::ConnectedState)
            sleepOnIdleSocket(lock);
        else
            requestReady_.wait(&mutex_);
    }
    return request_;
}

void EthernetThread::serve(Request request)
{
    switch (request) {
    case Request::Connect: {
        const bool ok = doConnect();
        MutexLocker lock(&mutex_);
        result_ = ok;
        break;
    }
    case Request::Write: {
        const bool ok = doWrite();
        MutexLocker lock(&mutex_);
        result_ = ok;
        break;
    }
    case Request::Read: {
        const int count = doRead();
        MutexLocker lock(&mutex_);
        readCount_ = count;
        break;
    }
    case Request::WriteThenRead:
        serveWriteThenRead();
        break;
    case Request::Disconnect:
        dropConnection();
        break;
    case Request::Quit:
    case Request::None:
        break;
    }
}

void EthernetThread::serveWriteThenRead()
{
    const bool written = doWrite();
    // As between a write request and a read request: a closed connection
    // seen during the write is settled first, and then there is no read.
    settlePeerClosed();
    const bool readable = written && owner_->IsConnected();
    const int count = readable ? doRead() : 0;
    MutexLocker lock(&mutex_);
    result_ = written;
    readRan_ = readable;
    readCount_ = count;
}

void EthernetThread::settlePeerClosed()
{
    {
        MutexLocker lock(&mutex_);
        if (!peerClosed_)
            return;
        peerClosed_ = false;
    }
    dropConnection();
}

// Lets the idle socket look at its descriptor once without blocking, so that
// a closed connection emits disconnected() even when nobody is talking.
void EthernetThread::checkIdleSocket()
{
    if (socket_->state() == QAbstractSocket::ConnectedState)
        socket_->waitForReadyRead(0);
}

void EthernetThread::dropConnection()
{
    if (socket_->state() != QAbstractSocket::UnconnectedState) {
        socket_->disconnectFromHost();
        if (socket_->state() != QAbstractSocket::UnconnectedState)
            socket_->abort();
    }
    owner_->setConnected(false);
}

bool EthernetThread::doConnect()
{
    QString host;
    quint16 port = kDefaultPort;
    splitAddress(address_, &host, &port);
    if (socket_->state() != QAbstractSocket::UnconnectedState)
        socket_->abort();

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

bool EthernetThread::doWrite()
{
    if (closing_ || !owner_->IsConnected() || socket_->state() != QAbstractSocket::ConnectedState)
        return false;
    socket_->write(writeData_, writeLength_);
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

int EthernetThread::readinessWaitMs(const QElapsedTimer& timer) const
{
    if (!owner_->readBoundedByTimeout())
        return kReadinessWaitMs;
    const qint64 left = qint64(readTimeoutMs_) - timer.elapsed();
    return int(qBound<qint64>(1, left + 1, kReadinessWaitMs));
}

int EthernetThread::doRead()
{
    assembler_.reset(readPacketMode_);
    if (closing_ || !owner_->IsConnected())
        return 0;
    if (chunk_.size() != kReadChunk)
        chunk_.resize(kReadChunk);
    QElapsedTimer timer;
    timer.start();
    while (socket_->state() != QAbstractSocket::UnconnectedState) {
        // Bytes already buffered by the socket need no waiting.
        if (socket_->bytesAvailable() == 0 && !socket_->waitForReadyRead(readinessWaitMs(timer)))
            socket_->waitForReadyRead(readinessWaitMs(timer));
        const qint64 count = socket_->read(chunk_.data(), kReadChunk);
        if (count > 0 && assembler_.append(chunk_.constData(), count) != bcp::PacketAssembler::State::Incomplete)
            return assembler_.buffer().size();
        // Compared as signed: QElapsedTimer::hasExpired() would take a
        // negative timeout as "never" and wait as long as the peer trickles.
        if (timer.elapsed() > qint64(readTimeoutMs_)) {
            owner_->SetError(0x5005, QStringLiteral("Receive: TIMEOUT after receiving %1 bytes of %2")
                                         .arg(assembler_.buffer().size())
                                         .arg(assembler_.expected()));
            return 0;
        }
    }
    return 0;
}

} // namespace vireo2
