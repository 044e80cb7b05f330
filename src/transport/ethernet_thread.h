#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include "threading/locks.h"
#include <QString>
#include <QThread>
#include <atomic>
#include <memory>

#include "transport/packet_assembler.h"

class QTcpSocket;

namespace vireo2 {

class CEthernet;

// The worker that owns CEthernet's TCP socket. The transport hands it one
// request at a time and blocks until the request is served; between requests
// the worker sleeps until the next request or until the idle socket reports
// something (on Linux in poll() on the socket and an eventfd, so an idle
// connection wakes nobody; elsewhere by looking every kIdleCheckMs), which is
// how it notices that the instrument closed the connection. Socket work
// uses Qt's blocking calls, so neither this thread nor the host needs an
// event loop.
class EthernetThread : public QThread {
    Q_OBJECT
public:
    static constexpr quint16 kDefaultPort = 60001;
    static constexpr int kConnectTimeoutMs = 1000;
    static constexpr int kWriteTimeoutMs = 5000;
    static constexpr int kReadinessWaitMs = 2000;
    static constexpr int kReadChunk = 1000000;
    static constexpr int kIdleCheckMs = 100;
    // Right after a hand-over, each side polls this long before it sleeps:
    // an exchange is a write request followed at once by a read request, and
    // waking a sleeping thread costs more than the whole loopback round trip.
    static constexpr int kHandOverSpinMicros = 100;

    explicit EthernetThread(CEthernet* owner);
    ~EthernetThread() override;

    // Starts the thread and returns once its loop runs.
    void startAndWait();

    bool connectTo(const QString& address);
    bool write(const char* bytes, int length);
    // Reads one reply into `output` (swapped out of the worker, not copied).
    // Returns the number of bytes received.
    int read(QByteArray& output, int timeoutMs, bool packetMode);
    // How far a write-then-read request got.
    enum class Transfer { WriteFailed, NotConnectedToRead, Read };
    // write() followed by read() in a single hand-over, as an exchange does
    // them; a disconnection noticed during the write is settled before the
    // read would start. `output` receives the reply when the read ran.
    Transfer writeThenRead(const char* bytes, int length, QByteArray& output, int timeoutMs, bool packetMode);
    // Drops the connection and leaves write and read requests refused until
    // the next connect.
    void disconnectAndClose();
    // Ends the loop and waits for the thread to finish.
    void quitAndWait();

    // Result of the last connect or write request.
    bool result() const;

    // Host and port of a connect address: "host", "host:" or "host:port".
    static void splitAddress(const QString& address, QString* host, quint16* port);

public Q_SLOTS:
    void clientDisconnected();

protected:
    void run() override;

private:
    enum class Request { None, Connect, Write, Read, WriteThenRead, Disconnect, Quit };

    void submit(Request request);
    Request nextRequest(MutexLocker<Mutex>& lock, bool justServed);
    // Polls `condition` for kHandOverSpinMicros, yielding the core meanwhile.
    template <typename Condition>
    static bool briefly(Condition condition);
    void serve(Request request);
    void serveWriteThenRead();
    void checkIdleSocket();
    void dropConnection();
    // Drops the connection if the peer was seen closing it.
    void settlePeerClosed();
    // Sleeps (mutex_ released) until a request is signalled or the idle
    // socket has something to say; false when it slept its kIdleCheckMs.
    bool sleepOnIdleSocket(MutexLocker<Mutex>& lock);
    void signalWake();
    bool doConnect();
    bool doWrite();
    // One readiness wait of a read started at `timer`.
    int readinessWaitMs(const QElapsedTimer& timer) const;
    int doRead();

    CEthernet* owner_;
    ExitFence exitFence_;

    // Serialises requesters: one request is in flight at a time.
    Mutex submitMutex_;
    // Guards the request hand-over below.
    mutable Mutex mutex_;
    WaitCondition requestReady_;
    // Idle and connected, the worker sleeps in poll() on the socket and on
    // this descriptor, which a request makes readable: it wakes when asked
    // or when the peer closes, never on a timer. -1 where there is no
    // eventfd (the worker then looks at the socket every kIdleCheckMs).
    int wakeFd_ = -1;
    WaitCondition requestDone_;
    // Set under mutex_; also read without it while polling briefly.
    std::atomic<Request> request_{Request::None};
    std::atomic<bool> done_{false};
    bool running_ = false;
    bool peerClosed_ = false;

    // Request parameters and results, handed over under mutex_.
    bool result_ = false;
    bool closing_ = false;
    QString address_;
    const char* writeData_ = nullptr;
    int writeLength_ = 0;
    int readTimeoutMs_ = 0;
    bool readPacketMode_ = true;
    int readCount_ = 0;
    bool readRan_ = false;

    // Worker-thread state.
    QTcpSocket* socket_ = nullptr;
    QByteArray chunk_;
    bcp::PacketAssembler assembler_;
};

} // namespace vireo2
