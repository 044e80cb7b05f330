#include "device/status_thread.h"

#include <climits>

#include "device/nerva.h"
#include "transport/hand_over_spin.h"

namespace vireo2 {
namespace {

constexpr unsigned long kPollPeriodMs = 200;

} // namespace

StatusThread::StatusThread(Nerva* device) : device_(device) {}

// Polls about every 200 ms while connected with polling on; otherwise it
// sleeps without waking until that changes or it is asked to stop.
void StatusThread::run()
{
    // A poll every 200 ms needs no haste: its exchanges hand over to the
    // transport's worker by waiting, not by spinning.
    handover::setThreadSpins(false);
    while (!stopRequested_) {
        const quint64 seen = device_->pollGeneration();
        // Nothing to poll: sleep until polling is switched or a stop is asked
        // for (a connection that dropped comes back only through Connect,
        // which replaces this thread).
        if (!device_->pollEnabled() || !device_->IsConnected()) {
            device_->waitForPollChange(seen, stopRequested_, ULONG_MAX);
            continue;
        }
        device_->waitForPollChange(seen, stopRequested_, kPollPeriodMs);
        if (stopRequested_)
            break;
        if (device_->pollEnabled() && device_->IsConnected())
            device_->CheckStatus();
    }
    device_->statusThreadEnding();
    exitFence_.threadDone();
}

} // namespace vireo2
