#include "device/status_thread.h"

#include "device/nerva.h"

namespace vireo2 {

StatusThread::StatusThread(Nerva* device) : device_(device) {}

// Polls about every 200 ms while connected. While disconnected it naps for
// 10 ms between looks instead of spinning a core.
void StatusThread::run()
{
    while (!stopRequested_) {
        if (!device_->IsConnected()) {
            QThread::msleep(10);
            continue;
        }
        for (int i = 0; i < 20 && !stopRequested_; ++i)
            QThread::msleep(10);
        if (stopRequested_)
            break;
        if (device_->pollEnabled() && device_->IsConnected())
            device_->CheckStatus();
    }
    exitFence_.threadDone();
}

} // namespace vireo2
