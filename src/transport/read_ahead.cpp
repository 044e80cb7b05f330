#include "transport/read_ahead.h"

#include "transport/packet_assembler.h"

namespace vireo2 {

void ReadAhead::plan(const QByteArray& lead, const QList<Step>& steps, const CTransport::PollingDialect& dialect)
{
    MutexLocker lock(&mutex_);
    replies_.clear();
    leadReply_.reset();
    planner_ = std::this_thread::get_id();
    lead_ = lead;
    steps_ = steps;
    dialect_ = &dialect;
}

void ReadAhead::clear()
{
    MutexLocker lock(&mutex_);
    clearLocked();
}

void ReadAhead::clearLocked()
{
    planner_ = std::thread::id();
    lead_.clear();
    steps_.clear();
    leadReply_.reset();
    replies_.clear();
}

std::optional<ReadAhead::Reply> ReadAhead::take(const char* command, int length)
{
    MutexLocker lock(&mutex_);
    if (!plannedHere())
        return std::nullopt;
    const QByteArray asked = QByteArray::fromRawData(command, length);
    if (!replies_.isEmpty() && replies_.first().command == asked)
        return replies_.takeFirst();
    if (replies_.isEmpty() && !lead_.isEmpty() && lead_ == asked)
        return std::nullopt;
    clearLocked();
    return std::nullopt;
}

bool ReadAhead::startsWith(const char* command, int length)
{
    MutexLocker lock(&mutex_);
    if (!plannedHere() || lead_.isEmpty() || lead_ != QByteArray::fromRawData(command, length))
        return false;
    lead_.clear();
    return true;
}

void ReadAhead::keepLead(bcp::PacketAssembler& reply)
{
    MutexLocker lock(&mutex_);
    Reply kept;
    kept.header = reply.header();
    reply.handBodyTo(kept.body);
    leadReply_ = std::move(kept);
}

// A step goes out only after a whole, valid reply of the command before it
// that carries the step's status and does not ask to be polled.
const ReadAhead::Step* ReadAhead::nextStep() const
{
    MutexLocker lock(&mutex_);
    const int index = replies_.size();
    if (index >= steps_.size() || !dialect_)
        return nullptr;
    const Reply* last = replies_.isEmpty() ? (leadReply_ ? &*leadReply_ : nullptr) : &replies_.last();
    if (!last || last->outcome != Outcome::Read ||
        bcp::validate(last->header, last->body, bcp::LengthRule::Exact) != bcp::Validity::Valid)
        return nullptr;
    const QByteArray payload = QByteArray::fromRawData(last->body.constData(), last->body.size() - 1);
    qint32 delayMs = 0;
    qint32 waitMs = 0;
    if (dialect_->inProgress(payload, true, &delayMs, &waitMs) || dialect_->status(payload) != steps_[index].afterStatus)
        return nullptr;
    return &steps_[index];
}

void ReadAhead::keepStep(Outcome outcome, bcp::PacketAssembler* reply, quint32 elapsedMs)
{
    MutexLocker lock(&mutex_);
    Reply kept;
    kept.command = steps_.value(replies_.size()).command;
    kept.outcome = outcome;
    kept.elapsedMs = elapsedMs;
    if (reply) {
        kept.header = reply->header();
        reply->handBodyTo(kept.body);
    }
    replies_.append(std::move(kept));
}

bool ReadAhead::takeLead(QByteArray& header, QByteArray& body)
{
    MutexLocker lock(&mutex_);
    if (!leadReply_)
        return false;
    header = leadReply_->header;
    body = std::move(leadReply_->body);
    leadReply_.reset();
    return true;
}

} // namespace vireo2
