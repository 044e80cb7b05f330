// Starting and stopping the status-poll thread of a device.
#include "device/nerva.h"

#include <QDeadlineTimer>
#include <QThread>
#include <climits>

#include "device/status_thread.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

constexpr int kStartSettleMs = 100;
constexpr int kStopPollMs = 10;
constexpr int kStopPollLimit = 500;
constexpr unsigned long kFinishingWaitMs = 1000;

} // namespace

void Nerva::setPollEnabled(bool on)
{
    pollEnabled_ = on;
    wakeStatusThread();
}

void Nerva::wakeStatusThread()
{
    MutexLocker lock(&pollMutex_);
    ++pollGeneration_;
    pollChanged_.wakeAll();
}

quint64 Nerva::pollGeneration()
{
    MutexLocker lock(&pollMutex_);
    return pollGeneration_;
}

void Nerva::waitForPollChange(quint64 seen, const std::atomic<bool>& stopRequested, unsigned long timeoutMs)
{
    MutexLocker lock(&pollMutex_);
    QDeadlineTimer deadline(timeoutMs == ULONG_MAX ? QDeadlineTimer::Forever : QDeadlineTimer(qint64(timeoutMs)));
    while (!stopRequested && pollGeneration_ == seen) {
        if (deadline.isForever()) {
            pollChanged_.wait(&pollMutex_);
            continue;
        }
        const qint64 left = deadline.remainingTime();
        if (left <= 0 || !pollChanged_.wait(&pollMutex_, (unsigned long)left))
            break;
    }
}

bool Nerva::startStatusThread()
{
    setPollEnabled(false);
    if (!statusThread_) {
        statusThread_ = new StatusThread(this);
        statusThread_->start(QThread::InheritPriority);
    }
    QThread::msleep(kStartSettleMs);
    if (statusThread_->isRunning())
        return true;
    Disconnect();
    log_->LogErrorOnly(errors::kStatusThreadFailed, errors::kStatusThreadFailed.message());
    return false;
}

void Nerva::statusThreadEnding()
{
    if (operationMutex_->abandon())
        log_->WriteLine(QStringLiteral("Status thread ended holding the operation lock: held until the next Disconnect"));
}

// A status thread that Disconnect could not wait for (stuck in a long
// exchange) may end later with the lock held; the next Disconnect frees it,
// so a reconnect recovers instead of every locked export failing for ever.
void Nerva::releaseAbandonedLock()
{
    if (operationMutex_->releaseAbandoned())
        log_->WriteLine(QStringLiteral("Operation lock left by an ended status thread released"));
}

bool Nerva::stopStatusThread()
{
    setPollEnabled(false);
    StatusThread* thread = statusThread_;
    if (!thread) {
        releaseAbandonedLock();
        return true;
    }
    if (thread->isRunning()) {
        thread->requestStop();
        wakeStatusThread();
        QThread::msleep(kStopPollMs);
    }
    log_->ProfileMark();
    if (thread->isRunning()) {
        for (int poll = 0; poll < kStopPollLimit && thread->isRunning(); ++poll) {
            QThread::msleep(kStopPollMs);
            QThread::yieldCurrentThread();
        }
        log_->ProfileMark(QStringLiteral("Status Thread Finished"));
    }
    statusThread_ = nullptr;
    releaseAbandonedLock();
    // A thread that has ended is released here. Qt reports it as no longer
    // running while it is still finishing for a moment, so that moment is
    // waited for. One still stuck in an exchange cannot be released and is
    // left to finish on its own.
    if (QThread::currentThread() != thread && !thread->isRunning() && thread->wait(kFinishingWaitMs)) {
        thread->joined();
        delete thread;
    }
    return true;
}

} // namespace vireo2
