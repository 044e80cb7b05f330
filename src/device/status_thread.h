#pragma once

#include <QThread>
#include <atomic>

#include "threading/locks.h"

namespace vireo2 {

class Nerva;

// Background poll of the instrument while connected: about every 200 ms it
// runs the device's CheckStatus, which never waits for the operation lock.
class StatusThread : public QThread {
    Q_OBJECT
public:
    explicit StatusThread(Nerva* device);
    void requestStop() { stopRequested_ = true; }
    bool stopRequested() const { return stopRequested_; }
    // After wait() has seen the thread end: everything it did is visible.
    void joined() { exitFence_.joined(); }

protected:
    void run() override;

private:
    Nerva* device_;
    std::atomic<bool> stopRequested_{false};
    ExitFence exitFence_;
};

} // namespace vireo2
