#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QString>
#include <functional>

#include "transport/packet_assembler.h"

class QTcpSocket;

namespace vireo2 {

class CEthernet;

// The TCP socket of a CEthernet and the blocking I/O on it: connect, write,
// read one reply, drop. Used only on the transport's worker thread (which
// has no event loop, so Qt's blocking calls do the waiting). Errors go to
// the owning transport's error record.
class EthernetSocket {
public:
    static constexpr quint16 kDefaultPort = 60001;
    static constexpr int kConnectTimeoutMs = 1000;
    static constexpr int kWriteTimeoutMs = 5000;
    static constexpr int kReadinessWaitMs = 2000;
    static constexpr int kReadChunk = 1000000;
    // Qt stops pulling bytes from the kernel beyond this, so a peer that
    // streams while nobody reads cannot grow the socket's buffer without bound.
    static constexpr qint64 kBufferCap = 4 * qint64(kReadChunk);

    explicit EthernetSocket(CEthernet* owner) : owner_(owner) {}
    ~EthernetSocket();

    // Creates the socket on the calling thread; `peerClosed` is called from
    // inside a socket call when the connection ends.
    void create(std::function<void()> peerClosed);
    void destroy();

    bool connectTo(const QString& address);
    bool write(const char* bytes, int length);
    // Reads one reply into reply(); returns its size, 0 when none came.
    int read(int timeoutMs, bool packetMode);
    // Drops the connection; with `refuse`, writes and reads fail until the
    // next connect.
    void drop(bool refuse = false);

    bool connected() const;
    // The descriptor an idle sleep may poll; -1 when it must not (none, or
    // Qt's read buffer is full and the socket would stay readable).
    int idleDescriptor() const;
    // Lets the idle socket look at its descriptor once without blocking, so
    // that a closed connection is noticed even when nobody is talking.
    void checkIdle();

    // The last reply; swapped out to the requester, whose old array becomes
    // the next buffer.
    QByteArray& reply() { return assembler_.buffer(); }

private:
    void discardUnread();
    bool dropLateReply(bool packetMode);
    // One readiness wait of a read started at `timer`.
    int readinessWaitMs(const QElapsedTimer& timer, int timeoutMs) const;

    CEthernet* owner_;
    QTcpSocket* socket_ = nullptr;
    bool refused_ = false;
    QByteArray chunk_;
    bcp::PacketAssembler assembler_;
};

} // namespace vireo2
