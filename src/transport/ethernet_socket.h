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
    // How far a read looks past the end of the packet for trailing bytes.
    static constexpr qint64 kSurplusLook = bcp::PacketAssembler::kSurplusLook;

    explicit EthernetSocket(CEthernet* owner) : owner_(owner) {}
    ~EthernetSocket();

    // Creates the socket on the calling thread; `peerClosed` is called from
    // inside a socket call when the connection ends.
    void create(std::function<void()> peerClosed);
    void destroy();

    bool connectTo(const QString& address);
    bool write(const char* bytes, int length);
    // Reads one reply into the assembler; returns its size, 0 when none came.
    // A large reply's body goes into memory `destination` offers, if any.
    int read(int timeoutMs, bool packetMode, ReplyDestination* destination = nullptr);
    // Drops the connection; with `refuse`, writes and reads fail until the
    // next connect.
    void drop(bool refuse = false);

    bool connected() const;
    // The descriptor an idle sleep polls for the end of the connection; -1
    // when there is none.
    int idleDescriptor() const;
    // Lets the idle socket look at its descriptor once without blocking, so
    // that a closed connection is noticed even when nobody is talking.
    void checkIdle();

    // The last reply: its header, and its body, which is handed to the
    // requester without a copy (PacketAssembler::handBodyTo).
    bcp::PacketAssembler& reply() { return assembler_; }

private:
    void discardUnread();
    bool dropLateReply(bool packetMode);
    // One readiness wait of a read started at `timer`.
    int readinessWaitMs(const QElapsedTimer& timer, int timeoutMs) const;
    // Moves what the kernel holds (at most kReadChunk) into the reply: the
    // header through a small copy, the body straight into its place. False
    // when nothing was there.
    bool takeAvailable();
    void noticeClosed();
    // Whether the descriptor reports the end of the connection (not waiting).
    bool peerGone() const;

    CEthernet* owner_;
    QTcpSocket* socket_ = nullptr;
    std::function<void()> peerClosed_;
    bool refused_ = false;
    bcp::PacketAssembler assembler_;
};

} // namespace vireo2
