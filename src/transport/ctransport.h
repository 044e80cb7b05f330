#pragma once

#include <QByteArray>
#include <QList>
#include "threading/locks.h"
#include "transport/bcp_packet.h"
#include "transport/owed_replies.h"
#include "transport/read_ahead_step.h"
#include <QObject>
#include <QString>

#include "settings/library_errors.h"
#include <atomic>

namespace vireo2 {

class ReplyDestination;

// Byte channel to the instrument. Every command and reply travels as one BCP
// packet: 0x7E, 4-byte big-endian payload length, payload, 0x7F.
// Concrete channels: USB (libusb bulk transfers) and CEthernet (TCP).
class CTransport : public QObject {
    Q_OBJECT
public:
    CTransport();
    ~CTransport() override;

    virtual bool IsConnected() = 0;
    virtual bool OpenPort(const QByteArray& address) = 0;
    virtual void ClosePort() = 0;
    // Writes bytes unframed; length 0 means up to the first zero byte.
    virtual bool SendRaw(const char* bytes, int length) = 0;
    // Wraps the bytes in one BCP packet and writes it.
    virtual bool Send(const char* bytes, int length) = 0;
    // Reads into `output` (cleared first); returns the byte count.
    virtual int Receive(QByteArray& output, int timeoutMs) = 0;
    // Receive, then validate and unwrap one BCP packet.
    virtual bool RecvPacket(QByteArray& output, int timeoutMs) = 0;
    // One command/reply exchange including "done?" polling. A large reply
    // is read into memory `destination` offers, if the transport can; the
    // response is then a view of it.
    virtual bool SendReceive(const char* command, QByteArray& response, int timeoutMs, int length,
                             ReplyDestination* destination = nullptr) = 0;
    // For the calling thread's next exchange: if its command is `lead`, the
    // transport may send the steps right after it as their replies allow,
    // and hand their replies to the next exchanges of the same commands
    // (ReadAhead). A transport that gains nothing by it ignores the plan.
    virtual void planReadAhead(const QByteArray& lead, const QList<ReadAheadStep>& steps);
    virtual void dropReadAhead();
    virtual void SetPacketMode(bool on);
    virtual void Noop();
    virtual void SetError(qint32 code, const QString& message) = 0;
    void SetError(const LibraryError& error) { SetError(error.code, error.message()); }
    virtual qint32 GetErrorCode();
    virtual QString GetErrorMessage();

    // How a transport reads the replies of an exchange.
    struct PollingDialect {
        // Status of a reply.
        qint32 (*status)(const QByteArray& reply);
        // True when the first reply asks to be polled; then fills the delay
        // before the first poll and the receive timeout for the polls.
        bool (*inProgress)(const QByteArray& reply, bool packetMode, qint32* delayMs, qint32* waitMs);
        // Appended to the command's first word to form the poll.
        const char* pollSuffix;
    };

    QString lastCommand() const;
    // Commands whose replies are still to come: a late one is dropped, never
    // taken as the answer to a later command.
    OwedReplies& owedReplies() { return owedReplies_; }
    quint32 lastExchangeTime() const { return lastExchangeTime_.load(); }

    // Overall bound of an exchange's "in progress" polling: the delay and
    // wait the instrument announced in its first reply plus a grace of
    // kInProgressGraceMs, at least kInProgressFloorMs and at most
    // kInProgressCeilingMs, so an instrument that answers every poll with
    // status 5, or announces minutes, cannot hold the caller (and the
    // operation lock) for longer than a user would wait.
    static constexpr qint64 kInProgressGraceMs = 5000;
    static constexpr qint64 kInProgressFloorMs = 10000;
    static constexpr qint64 kInProgressCeilingMs = 120000;
    static qint64 inProgressDeadlineMs(qint32 delayMs, qint32 waitMs);
    // The longest a single reply is waited for, whatever timeout a caller
    // asks for (SendCommand, ExecuteBinary): as long as the library itself
    // ever gives one reply (a firmware packet, the log).
    static constexpr int kLongestReplyWaitMs = 30000;
    static int boundedReplyTimeout(int timeoutMs) { return qBound(0, timeoutMs, kLongestReplyWaitMs); }

protected:
    // The command/reply exchange shared by both transports: send, receive and,
    // while the instrument reports status 5, poll with "<word><suffix>".
    bool exchange(const char* command, QByteArray& response, int timeoutMs, int length,
                  const PollingDialect& dialect, bool packetMode, ReplyDestination* destination = nullptr);
    // One step of an exchange: writes `bytes` (framed in packet mode) and
    // reads the reply into `response`, with the outcomes and errors of
    // Send/SendRaw followed by RecvPacket/Receive. A transport may do both in
    // one go, and read into `destination`'s memory; this default calls them
    // in turn and reads into the response's own array.
    virtual bool transfer(const char* bytes, int length, QByteArray& response, int timeoutMs, bool packetMode,
                          ReplyDestination* destination);

    // Stores the error pair; several host threads may fail at once (one
    // exchange refused as busy while another fails), so the pair is written
    // and read under a mutex.
    void storeError(qint32 code, const QString& message);
    // True for a valid packet; otherwise records the transport's error for
    // a packet too short or one whose markers or length are wrong.
    bool acceptPacket(bcp::Validity validity, const LibraryError& tooShort, const LibraryError& invalid);
    void setLastCommand(const QString& command);

    bool basePacketMode_ = false;
    QString unusedText_;
    std::atomic<quint32> lastExchangeTime_{0};
    // Time a reply read ahead took on the wire before its exchange asked for
    // it; counted into that exchange's time.
    quint32 readAheadMs_ = 0;
    bool packetMode_ = true;
    OwedReplies owedReplies_;

private:
    mutable Mutex fieldsMutex_;
    qint32 errorCode_ = 0;
    QString errorMessage_;
    QString lastCommand_;
};

} // namespace vireo2
