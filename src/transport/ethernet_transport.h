#pragma once

#include "threading/locks.h"
#include <atomic>
#include <memory>

#include "transport/bcp_packet.h"
#include "transport/ctransport.h"
#include "transport/ethernet_thread.h"
#include "transport/read_ahead.h"

namespace vireo2 {

// The instrument (or the track accessory) over TCP. All socket work happens
// on the owned EthernetThread; these operations hand it requests and wait.
// A second exchange while one runs anywhere in the process is refused with
// kExchangeInProgress "Operation in progress.".
class CEthernet : public CTransport {
    Q_OBJECT
public:
    CEthernet();
    ~CEthernet() override;

    bool IsConnected() override;
    bool OpenPort(const QByteArray& address) override;
    void ClosePort() override;
    bool SendRaw(const char* bytes, int length) override;
    bool Send(const char* bytes, int length) override;
    int Receive(QByteArray& output, int timeoutMs) override;
    bool RecvPacket(QByteArray& output, int timeoutMs) override;
    bool SendReceive(const char* command, QByteArray& response, int timeoutMs, int length,
                     ReplyDestination* destination = nullptr) override;
    void planReadAhead(const QByteArray& lead, const QList<ReadAheadStep>& steps) override;
    void dropReadAhead() override;
    void SetPacketMode(bool on) override;
    using CTransport::SetError;
    void SetError(qint32 code, const QString& message) override;

    // Written by the worker thread (connect, disconnect notice).
    void setConnected(bool connected) { connected_.store(connected); }
    bool packetMode() const { return packetMode_; }
    // Caps each readiness wait of a read at the read's own timeout, so a
    // short read (the track link's 100 ms follow-up) ends on time instead
    // of after the instrument link's 2 s rounds. Off by default.
    void setReadBoundedByTimeout(bool on) { readBoundedByTimeout_.store(on); }
    bool readBoundedByTimeout() const { return readBoundedByTimeout_.load(); }

    // True while some CEthernet in the process runs SendReceive.
    static bool exchangeInProgress();

protected:
    // Write and read in one hand-over to the worker thread.
    bool transfer(const char* bytes, int length, QByteArray& response, int timeoutMs, bool packetMode,
                  ReplyDestination* destination) override;

private:
    // The worker, created when missing. Operations hold their own reference
    // for as long as they use it: a thread that closes the port (after its
    // own failure, or Disconnect) while another is inside an exchange takes
    // the worker away from later callers but never destroys it under the
    // running one, which then fails with an error instead.
    std::shared_ptr<EthernetThread> ensureThread();
    std::shared_ptr<EthernetThread> currentThread() const;
    // Validates and unwraps the BCP packet in `output` (RecvPacket's checks).
    bool unwrapPacket(QByteArray& output);
    // After a good write: an empty reply means the command's reply is owed.
    void noteIfNothingCame(const QByteArray& reply);
    // Records why a received packet is refused; true when it is valid.
    bool checkPacket(bcp::Validity validity);
    // The requester's side of a transfer once the worker has written and
    // read: its errors, the packet's checks and the end byte cut off.
    bool acceptTransfer(EthernetThread::Transfer outcome, const QByteArray& header, QByteArray& response,
                        bool packetMode);

    mutable Mutex threadMutex_;
    std::shared_ptr<EthernetThread> thread_;
    std::atomic<bool> connected_{false};
    std::atomic<bool> readBoundedByTimeout_{false};
    ReadAhead readAhead_;
};

} // namespace vireo2
