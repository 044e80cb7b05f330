#pragma once

#include <QByteArray>
#include <QString>
#include <QThread>
#include <atomic>

#include "threading/locks.h"
#include "threading/wake_flag.h"
#include "transport/ethernet_socket.h"
#include "transport/idle_wake.h"

namespace vireo2 {

class CEthernet;
class ReadAhead;

// The worker that owns CEthernet's TCP socket (EthernetSocket) and the hand-
// over of requests to it. The transport hands it one request at a time and
// blocks until the request is served; right after a hand-over both sides
// spin briefly (hand_over_spin.h), as the next request of an exchange
// usually follows at once. Between requests the worker sleeps until the next
// request or until the idle socket reports the end of the connection
// (IdleWake), which is how it notices that the instrument closed it. A
// request may carry commands to send ahead (ReadAhead).
class EthernetThread : public QThread {
    Q_OBJECT
public:
    // Without an eventfd, how often an idle worker looks at its socket.
    static constexpr int kIdleCheckMs = 100;

    explicit EthernetThread(CEthernet* owner);
    ~EthernetThread() override;

    // Starts the thread and returns once its loop runs.
    void startAndWait();

    bool connectTo(const QString& address);
    bool write(const char* bytes, int length);
    // Reads one reply into `output`, all its bytes. Returns their number.
    int read(QByteArray& output, int timeoutMs, bool packetMode);
    // How far a write-then-read request got. ReadIntoDestination: as Read,
    // with the body a view of the memory the destination offered.
    enum class Transfer { WriteFailed, NotConnectedToRead, Read, ReadIntoDestination };
    // write() followed by read() in a single hand-over, as an exchange does
    // them; a disconnection noticed during the write is settled before the
    // read would start. When the read ran, `header` receives the reply's
    // first five bytes and `body` the rest, swapped out of the worker: a
    // packet's payload is handed on where it was read (in the memory
    // `destination` offers, when the reply is large and it offers some).
    // With `ahead`, the worker goes on with the commands it plans as their
    // replies allow (ReadAhead) before the requester is told.
    Transfer writeThenRead(const char* bytes, int length, QByteArray& header, QByteArray& body, int timeoutMs,
                           bool packetMode, ReplyDestination* destination = nullptr, ReadAhead* ahead = nullptr);
    // Drops the connection and leaves write and read requests refused until
    // the next connect.
    void disconnectAndClose();
    // Ends the loop and waits for the thread to finish.
    void quitAndWait();

    // Result of the last connect or write request.
    bool result() const;

protected:
    void run() override;

private:
    enum class Request { None, Connect, Write, Read, WriteThenRead, Disconnect, Quit };

    // Where the worker waits for its next request, so that a requester
    // wakes it the one way that reaches it (and makes no system call when
    // the worker is awake and will see the request anyway).
    enum class Sleep { Awake, OnCondition, OnSocket };

    void submit(Request request);
    void wakeWorker(Sleep sleep);
    // Refuses a request when the worker no longer runs.
    void refuse(Request request, MutexLocker<Mutex>& lock);
    Request nextRequest(MutexLocker<Mutex>& lock, bool justServed);
    void serve(Request request);
    void serveWriteThenRead();
    void serveReadAhead(ReadAhead& ahead);
    // Called from inside a socket call when the connection ends.
    void peerClosed();
    // Drops the connection if the peer was seen closing it.
    void settlePeerClosed();
    // Sleeps (mutex_ released) until a request is signalled or the idle
    // socket has something to say.
    void sleepOnIdleSocket(MutexLocker<Mutex>& lock);

    CEthernet* owner_;
    ExitFence exitFence_;

    // Serialises requesters: one request is in flight at a time.
    Mutex submitMutex_;
    // Guards the request hand-over below.
    mutable Mutex mutex_;
    WaitCondition requestReady_;
    WaitCondition requestDone_;  // the worker is running
    IdleWake idleWake_;
    // Set under mutex_; also read without it while spinning briefly.
    std::atomic<Request> request_{Request::None};
    // The request in hand has been served: what the requester waits for.
    WakeFlag served_;
    Sleep sleep_ = Sleep::Awake;
    bool running_ = false;
    bool peerClosed_ = false;
    // When the last request was asked for and served (steady-clock ns), and
    // whether the worker spins for the next one after serving.
    qint64 requestedAt_ = 0;
    qint64 servedAt_ = 0;
    bool spinAfterServing_ = true;
    // Whether the requester of the request in hand spins for it (and the
    // worker after serving it): see handover::setThreadSpins.
    bool requestSpins_ = true;

    // Request parameters and results, handed over under mutex_.
    bool result_ = false;
    QString address_;
    const char* writeData_ = nullptr;
    int writeLength_ = 0;
    int readTimeoutMs_ = 0;
    bool readPacketMode_ = true;
    ReplyDestination* readDestination_ = nullptr;
    ReadAhead* readAhead_ = nullptr;
    int readCount_ = 0;
    bool readRan_ = false;

    // Used on the worker thread; its reply buffer is handed over under mutex_.
    EthernetSocket socket_;
};

} // namespace vireo2
