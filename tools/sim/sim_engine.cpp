#include "sim_engine.h"

#include <QDeadlineTimer>
#include "threading/locks.h"

#include "default_instrument.h"
#include "transport/bcp_packet.h"

namespace vireo2::sim {
namespace {

const QByteArray kControlPrefix = "SIM ";

QByteArray firstWord(const QByteArray& command)
{
    return command.trimmed().split(' ').value(0);
}

bool isPollOf(const QByteArray& command, const QByteArray& word)
{
    const QList<QByteArray> words = command.trimmed().split(' ');
    return words.size() == 2 && words.at(0).compare(word, Qt::CaseInsensitive) == 0
        && words.at(1).compare("done?", Qt::CaseInsensitive) == 0;
}

// The packet of a large payload the thread framed last is ready: a blob kept
// by the model leaves without being framed again. Holding the payload keeps
// its bytes, so an equal address means the same payload. Small replies are
// framed afresh: they cost nothing to frame, and a reply a test scripted must
// not stay referenced from this thread after the test has let it go.
QByteArray framed(const QByteArray& payload)
{
    constexpr int kCachedFrom = 1 << 20;
    if (payload.size() < kCachedFrom)
        return bcp::frame(payload);
    thread_local QByteArray lastPayload;
    thread_local QByteArray lastPacket;
    if (payload.isDetached() || payload.constData() != lastPayload.constData() || payload.size() != lastPayload.size()) {
        lastPayload = payload;
        lastPacket = bcp::frame(payload);
    }
    return lastPacket;
}

QByteArray packet(const QByteArray& payload, const std::optional<quint32>& lengthField)
{
    QByteArray bytes = framed(payload);
    if (lengthField) {
        const quint32 value = *lengthField;
        for (int i = 0; i < 4; ++i)
            bytes[1 + i] = char(value >> (24 - 8 * i));
    }
    return bytes;
}

} // namespace

QByteArray ReplyPlan::bytes() const
{
    QByteArray all;
    for (const QByteArray& segment : segments)
        all += segment;
    return all;
}

ReplyPlan planDelivery(const QByteArray& payload, const std::optional<Fault>& fault)
{
    ReplyPlan plan;
    const Fault none;
    const Fault& f = fault ? *fault : none;
    plan.silent = f.silent;
    plan.drop = f.drop;
    plan.delayMs = f.delayMs;
    plan.segmentPauseMs = f.segmentPauseMs;
    if (plan.silent || plan.drop)
        return plan;
    const QByteArray bytes = f.before.isEmpty() && f.after.isEmpty() ? packet(payload, f.lengthField)
                                                                     : f.before + packet(payload, f.lengthField) + f.after;
    int offset = 0;
    for (int size : f.segments) {
        if (offset >= bytes.size())
            break;
        plan.segments << bytes.mid(offset, size);
        offset += size;
    }
    if (offset < bytes.size())
        plan.segments << bytes.mid(offset);
    return plan;
}

SimEngine::SimEngine(std::shared_ptr<InstrumentModel> model) : model_(std::move(model))
{
    if (!model_)
        model_ = createDefaultInstrument();
    clock_.start();
}

ReplyPlan SimEngine::handle(const QByteArray& command)
{
    if (command.startsWith(kControlPrefix))
        return planDelivery(controlReply(command), std::nullopt);
    record(command);
    const std::optional<Fault> fault = faults_.take(command);
    return planDelivery(instrumentReply(command, fault), fault);
}

QByteArray SimEngine::instrumentReply(const QByteArray& command, const std::optional<Fault>& fault)
{
    if (fault && fault->reply && !fault->progress)
        return *fault->reply;
    if (fault && fault->progress) {
        const Fault::Progress& progress = *fault->progress;
        PendingProgress pending;
        pending.word = firstWord(command);
        pending.keyword = pending.word.toUpper();
        pending.finalReply = progress.finalReply ? *progress.finalReply
                           : fault->reply    ? *fault->reply
                                             : model_->reply(command);
        pending.pollsLeft = progress.polls;
        {
            MutexLocker lock(&mutex_);
            pending_.prepend(pending);
        }
        return pending.keyword + " 0x05 " + QByteArray::number(progress.delayMs) + ' '
             + QByteArray::number(progress.waitMs);
    }
    if (const auto poll = pollReply(command))
        return *poll;
    return model_->reply(command);
}

std::optional<QByteArray> SimEngine::pollReply(const QByteArray& command)
{
    MutexLocker lock(&mutex_);
    for (int i = 0; i < pending_.size(); ++i) {
        PendingProgress& pending = pending_[i];
        if (!isPollOf(command, pending.word))
            continue;
        if (--pending.pollsLeft > 0)
            return pending.keyword + " 0x05";
        const QByteArray finalReply = pending.finalReply;
        pending_.removeAt(i);
        return finalReply;
    }
    return std::nullopt;
}

QByteArray SimEngine::controlReply(const QByteArray& command)
{
    const QString text = QString::fromUtf8(command.mid(kControlPrefix.size())).trimmed();
    const QString verb = text.section(QLatin1Char(' '), 0, 0).toUpper();
    if (verb == QLatin1String("RESET")) {
        reset();
        return "SIM 0x00";
    }
    if (verb == QLatin1String("FAULT")) {
        QString error;
        const auto fault = Fault::parse(text.section(QLatin1Char(' '), 1), &error);
        if (!fault)
            return "SIM 0x01 " + error.toUtf8();
        faults_.add(*fault);
        return "SIM 0x00";
    }
    const QString answer = model_->control(text);
    if (answer.isEmpty())
        return "SIM 0x01 unknown control command: " + text.toUtf8();
    return answer.toUtf8();
}

void SimEngine::reset()
{
    faults_.clear();
    MutexLocker lock(&mutex_);
    pending_.clear();
}

void SimEngine::record(const QByteArray& command)
{
    MutexLocker lock(&mutex_);
    commands_ << command;
    commandTimes_ << clock_.elapsed();
    commandArrived_.wakeAll();
}

QList<QByteArray> SimEngine::commands() const
{
    MutexLocker lock(&mutex_);
    return commands_;
}

QList<qint64> SimEngine::commandTimes() const
{
    MutexLocker lock(&mutex_);
    return commandTimes_;
}

void SimEngine::clearCommands()
{
    MutexLocker lock(&mutex_);
    commands_.clear();
    commandTimes_.clear();
}

bool SimEngine::waitForCommand(const QByteArray& command, int timeoutMs) const
{
    QDeadlineTimer deadline(timeoutMs);
    MutexLocker lock(&mutex_);
    auto seen = [&] {
        for (const QByteArray& received : commands_) {
            if (received.compare(command, Qt::CaseInsensitive) == 0)
                return true;
        }
        return false;
    };
    while (!seen()) {
        if (!commandArrived_.wait(&mutex_, msLeft(deadline)))
            return seen();
    }
    return true;
}

bool SimEngine::waitForCommandCount(int count, int timeoutMs) const
{
    QDeadlineTimer deadline(timeoutMs);
    MutexLocker lock(&mutex_);
    while (commands_.size() < count) {
        if (!commandArrived_.wait(&mutex_, msLeft(deadline)))
            return commands_.size() >= count;
    }
    return true;
}

} // namespace vireo2::sim
