#include "sim_server.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include "threading/locks.h"
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#endif

#include "transport/packet_assembler.h"

namespace vireo2::sim {
namespace {

constexpr int kWriteTimeoutMs = 5000;
// Segments from this size on leave straight from the (cached) packet.
constexpr int kDirectWriteFrom = 1 << 20;

// Writes a large segment to the descriptor without copying it into the
// socket's write buffer first: a ready reply of megabytes then costs the
// simulator no more than the kernel's own copy, so a benchmark against it
// measures the client. False when the peer is gone or the write stalls
// for kWriteTimeoutMs.
bool writeDirect(qintptr descriptor, const QByteArray& bytes)
{
#ifdef Q_OS_UNIX
    const char* next = bytes.constData();
    qint64 left = bytes.size();
    QElapsedTimer timer;
    timer.start();
    while (left > 0) {
        const ssize_t sent = ::send(int(descriptor), next, size_t(left), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            next += sent;
            left -= sent;
            continue;
        }
        if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
            return false;
        const qint64 waitMs = kWriteTimeoutMs - timer.elapsed();
        pollfd writable{int(descriptor), POLLOUT, 0};
        if (waitMs <= 0 || ::poll(&writable, 1, int(waitMs)) <= 0 || (writable.revents & (POLLERR | POLLHUP)))
            return false;
    }
    return true;
#else
    Q_UNUSED(descriptor);
    Q_UNUSED(bytes);
    return false;
#endif
}

// Hands accepted descriptors out instead of creating sockets here, so that
// each client's socket is created on the thread that serves it.
class DescriptorServer : public QTcpServer {
public:
    QList<qintptr> takeDescriptors()
    {
        QList<qintptr> taken;
        taken.swap(descriptors_);
        return taken;
    }

protected:
    void incomingConnection(qintptr descriptor) override { descriptors_ << descriptor; }

private:
    QList<qintptr> descriptors_;
};

} // namespace

struct SimServer::Client {
    qintptr descriptor = -1;
    std::atomic<bool> dropRequested{false};
    std::atomic<bool> finished{false};
    QThread* thread = nullptr;
};

SimServer::SimServer(std::shared_ptr<InstrumentModel> model) : engine_(std::move(model)) {}

SimServer::~SimServer()
{
    stop();
}

bool SimServer::start(quint16 port)
{
    stop();
    stopping_ = false;
    {
        MutexLocker lock(&mutex_);
        startFinished_ = false;
        listening_ = false;
        port_ = port;
        error_.clear();
    }
    acceptor_ = QThread::create([this] { acceptLoop(); });
    acceptor_->setObjectName(QStringLiteral("sim-acceptor"));
    acceptor_->start();
    MutexLocker lock(&mutex_);
    while (!startFinished_)
        stateChanged_.wait(&mutex_);
    const bool ok = listening_;
    lock.unlock();
    if (!ok)
        stop();
    return ok;
}

void SimServer::stop()
{
    if (!acceptor_)
        return;
    stopping_ = true;
    acceptor_->wait();
    delete acceptor_;
    acceptor_ = nullptr;
    QList<std::shared_ptr<Client>> clients;
    {
        MutexLocker lock(&mutex_);
        clients.swap(clients_);
    }
    for (const auto& client : clients) {
        client->thread->wait();
        delete client->thread;
    }
    MutexLocker lock(&mutex_);
    listening_ = false;
}

bool SimServer::isRunning() const
{
    MutexLocker lock(&mutex_);
    return listening_;
}

QString SimServer::errorString() const
{
    MutexLocker lock(&mutex_);
    return error_;
}

quint16 SimServer::port() const
{
    MutexLocker lock(&mutex_);
    return port_;
}

QByteArray SimServer::address() const
{
    return "127.0.0.1:" + QByteArray::number(port());
}

int SimServer::clientCount() const
{
    MutexLocker lock(&mutex_);
    return connectedCount_;
}

bool SimServer::waitForClientCount(int count, int timeoutMs) const
{
    QDeadlineTimer deadline(timeoutMs);
    MutexLocker lock(&mutex_);
    while (connectedCount_ != count) {
        if (!stateChanged_.wait(&mutex_, msLeft(deadline)))
            return connectedCount_ == count;
    }
    return true;
}

void SimServer::dropClients()
{
    MutexLocker lock(&mutex_);
    for (const auto& client : clients_)
        client->dropRequested = true;
}

void SimServer::acceptLoop()
{
    DescriptorServer server;
    {
        MutexLocker lock(&mutex_);
        listening_ = server.listen(QHostAddress::LocalHost, port_);
        if (listening_)
            port_ = server.serverPort();
        else
            error_ = server.errorString();
        startFinished_ = true;
        stateChanged_.wakeAll();
        if (!listening_)
            return;
    }
    while (!stopping_) {
        server.waitForNewConnection(kPollMs);
        reapFinishedClients();
        for (qintptr descriptor : server.takeDescriptors()) {
            auto client = std::make_shared<Client>();
            client->descriptor = descriptor;
            client->thread = QThread::create([this, client] { serveClient(client); });
            client->thread->setObjectName(QStringLiteral("sim-client"));
            MutexLocker lock(&mutex_);
            clients_ << client;
            client->thread->start();
        }
    }
    server.close();
}

void SimServer::reapFinishedClients()
{
    QList<std::shared_ptr<Client>> finished;
    {
        MutexLocker lock(&mutex_);
        for (int i = clients_.size() - 1; i >= 0; --i) {
            if (clients_.at(i)->finished)
                finished << clients_.takeAt(i);
        }
    }
    for (const auto& client : finished) {
        client->thread->wait();
        delete client->thread;
    }
}

void SimServer::serveClient(const std::shared_ptr<Client>& client)
{
    QTcpSocket socket;
    if (socket.setSocketDescriptor(client->descriptor)) {
        // Small pieces leave as separate segments, as a split reply needs.
        socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        {
            MutexLocker lock(&mutex_);
            ++connectedCount_;
            stateChanged_.wakeAll();
        }
        QByteArray stream;
        QByteArray command;
        bool open = true;
        while (open && !stopping_ && !client->dropRequested
               && socket.state() == QAbstractSocket::ConnectedState) {
            if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(kPollMs))
                continue;
            stream += socket.readAll();
            while (open && bcp::takePacket(stream, command))
                open = deliver(socket, *client, engine_.handle(command));
        }
        socket.abort();
        MutexLocker lock(&mutex_);
        --connectedCount_;
        stateChanged_.wakeAll();
    }
    client->finished = true;
}

bool SimServer::pause(int ms, const Client& client) const
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        if (stopping_ || client.dropRequested)
            return false;
        QThread::msleep(ulong(qMin<qint64>(kPollMs, ms - timer.elapsed())));
    }
    return true;
}

bool SimServer::deliver(QTcpSocket& socket, const Client& client, const ReplyPlan& plan)
{
    if (!pause(plan.delayMs, client) || plan.drop)
        return false;
    for (int i = 0; i < plan.segments.size(); ++i) {
        if (i > 0 && !pause(plan.segmentPauseMs, client))
            return false;
        const QByteArray& segment = plan.segments.at(i);
#ifdef Q_OS_UNIX
        if (segment.size() >= kDirectWriteFrom && socket.bytesToWrite() == 0) {
            if (!writeDirect(socket.socketDescriptor(), segment))
                return false;
            continue;
        }
#endif
        socket.write(segment);
        QElapsedTimer timer;
        timer.start();
        while (socket.bytesToWrite() > 0) {
            const qint64 left = kWriteTimeoutMs - timer.elapsed();
            if (left <= 0 || !socket.waitForBytesWritten(int(left)))
                return false;
        }
    }
    return socket.state() == QAbstractSocket::ConnectedState;
}

} // namespace vireo2::sim
