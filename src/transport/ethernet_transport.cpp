#include "transport/ethernet_transport.h"
#include "threading/locks.h"

#include <cstring>

#include "transport/bcp_packet.h"
#include "transport/ethernet_thread.h"
#include "transport/reply_parser.h"

namespace vireo2 {
namespace {

// One exchange at a time in the whole process, whichever CEthernet runs it.
std::atomic<bool> exchangeBusy{false};

// Clears the busy flag on every way out of an exchange.
class BusyFlagGuard {
public:
    ~BusyFlagGuard() { exchangeBusy.store(false); }
};

bool ethernetInProgress(const QByteArray& reply, bool packetMode, qint32* delayMs, qint32* waitMs)
{
    if (ParseStatus(reply) != kStatusInProgress || !packetMode)
        return false;
    qint32 status = -1;
    return reply::parseProgress(reply, &status, delayMs, waitMs) == 3 && status == kStatusInProgress;
}

const CTransport::PollingDialect kEthernetDialect{&ParseStatus, &ethernetInProgress, " done?"};

int measuredLength(const char* bytes, int length)
{
    return length == 0 ? int(std::strlen(bytes)) : length;
}

} // namespace

CEthernet::CEthernet()
{
    packetMode_ = true;
    ensureThread();
}

CEthernet::~CEthernet()
{
    ClosePort();
}

bool CEthernet::exchangeInProgress()
{
    return exchangeBusy.load();
}

std::shared_ptr<EthernetThread> CEthernet::ensureThread()
{
    MutexLocker lock(&threadMutex_);
    if (!thread_) {
        thread_ = std::make_shared<EthernetThread>(this);
        thread_->startAndWait();
    }
    return thread_;
}

std::shared_ptr<EthernetThread> CEthernet::currentThread() const
{
    MutexLocker lock(&threadMutex_);
    return thread_;
}

bool CEthernet::IsConnected()
{
    return connected_.load();
}

bool CEthernet::OpenPort(const QByteArray& address)
{
    return ensureThread()->connectTo(QString::fromUtf8(address));
}

// Only the first of several threads closing at once finds the worker; the
// others return at once. The worker is stopped here and destroyed when its
// last user lets go of it.
void CEthernet::ClosePort()
{
    std::shared_ptr<EthernetThread> thread;
    {
        MutexLocker lock(&threadMutex_);
        thread.swap(thread_);
    }
    if (!thread)
        return;
    connected_.store(false);
    thread->disconnectAndClose();
    thread->quitAndWait();
}

bool CEthernet::SendRaw(const char* bytes, int length)
{
    const auto thread = currentThread();
    if (!IsConnected() || !thread)
        return false;
    return thread->write(bytes, measuredLength(bytes, length));
}

bool CEthernet::Send(const char* bytes, int length)
{
    if (!IsConnected()) {
        SetError(errors::kSendNotConnected);
        return false;
    }
    owedReplies_.sent(bytes, measuredLength(bytes, length));
    const QByteArray packet = bcp::frame(bytes, measuredLength(bytes, length));
    return SendRaw(packet.constData(), packet.size());
}

// Returns the byte count when bytes arrived. When none did, it returns the
// outcome of the last connect or write: after a good write a silent instrument
// still counts as "received", and RecvPacket reports the empty reply as
// kPacketLength over the read timeout.
int CEthernet::Receive(QByteArray& output, int timeoutMs)
{
    output.clear();
    const auto thread = currentThread();
    if (!IsConnected() || !thread) {
        SetError(errors::kReceiveNotConnected);
        return 0;
    }
    const int count = thread->read(output, timeoutMs, packetMode_);
    return thread->result() ? qMax(count, 1) : 0;
}

bool CEthernet::RecvPacket(QByteArray& output, int timeoutMs)
{
    if (Receive(output, timeoutMs) == 0)
        return false;
    noteIfNothingCame(output);
    return unwrapPacket(output);
}

void CEthernet::noteIfNothingCame(const QByteArray& reply)
{
    if (reply.isEmpty() && IsConnected())
        owedReplies_.missing();
}

bool CEthernet::unwrapPacket(QByteArray& output)
{
    if (!checkPacket(bcp::validate(output, bcp::LengthRule::Exact)))
        return false;
    bcp::unwrap(output);
    return true;
}

bool CEthernet::checkPacket(bcp::Validity validity)
{
    return acceptPacket(validity, errors::kPacketLength, errors::kInvalidPacket);
}

// Send or SendRaw, then RecvPacket or Receive, with their outcomes and errors;
// the worker thread is handed the pair at once. A reply the worker read
// ahead for this very command is taken instead (ReadAhead).
bool CEthernet::transfer(const char* bytes, int length, QByteArray& response, int timeoutMs, bool packetMode,
                         ReplyDestination* destination)
{
    const int size = measuredLength(bytes, length);
    if (std::optional<ReadAhead::Reply> ahead = readAhead_.take(bytes, size)) {
        readAheadMs_ += ahead->elapsedMs;
        response = std::move(ahead->body);
        return acceptTransfer(ahead->outcome, ahead->header, response, packetMode);
    }
    const auto thread = currentThread();
    if (!IsConnected() || !thread) {
        if (packetMode)
            SetError(errors::kSendNotConnected);
        return false;
    }
    owedReplies_.sent(bytes, size);
    const QByteArray packet = packetMode ? bcp::frame(bytes, size) : QByteArray::fromRawData(bytes, size);
    // Only a packet's body can stay where it was read, and only a packet
    // exchange without offered memory carries a plan.
    ReadAhead* ahead = packetMode && !destination && readAhead_.startsWith(bytes, size) ? &readAhead_ : nullptr;
    QByteArray header;
    const EthernetThread::Transfer outcome =
        thread->writeThenRead(packet.constData(), packet.size(), header, response, timeoutMs, packetMode_,
                              packetMode ? destination : nullptr, ahead);
    return acceptTransfer(outcome, header, response, packetMode);
}

bool CEthernet::acceptTransfer(EthernetThread::Transfer outcome, const QByteArray& header, QByteArray& response,
                               bool packetMode)
{
    bool view = false;
    switch (outcome) {
    case EthernetThread::Transfer::WriteFailed:
        return false;
    case EthernetThread::Transfer::NotConnectedToRead:
        response.clear();
        SetError(errors::kReceiveNotConnected);
        return false;
    case EthernetThread::Transfer::Read:
        break;
    case EthernetThread::Transfer::ReadIntoDestination:
        view = true;
        break;
    }
    // Nothing came when not even a header did.
    noteIfNothingCame(header);
    // After a good write a reply counts as received even when empty; a raw
    // reply gets its header put back in front.
    if (!packetMode) {
        response.prepend(header);
        return true;
    }
    if (!checkPacket(bcp::validate(header, response, bcp::LengthRule::Exact)))
        return false;
    // The end byte; the header is already apart. A view is cut by making a
    // shorter view (chop() would copy it into an array of its own).
    if (view)
        response = QByteArray::fromRawData(response.constData(), response.size() - 1);
    else
        response.chop(1);
    return true;
}

void CEthernet::planReadAhead(const QByteArray& lead, const QList<ReadAheadStep>& steps)
{
    readAhead_.plan(lead, steps, kEthernetDialect);
}

void CEthernet::dropReadAhead()
{
    readAhead_.clear();
}

bool CEthernet::SendReceive(const char* command, QByteArray& response, int timeoutMs, int length,
                            ReplyDestination* destination)
{
    bool idle = false;
    if (!exchangeBusy.compare_exchange_strong(idle, true)) {
        SetError(errors::kExchangeInProgress);
        return false;
    }
    BusyFlagGuard clearOnExit;
    return exchange(command, response, timeoutMs, length, kEthernetDialect, packetMode_, destination);
}

void CEthernet::SetPacketMode(bool on)
{
    packetMode_ = on;
}

void CEthernet::SetError(qint32 code, const QString& message)
{
    storeError(code, message.isEmpty() ? QString::asprintf("OS ERROR CODE %04X", quint32(code)) : message);
}

} // namespace vireo2
