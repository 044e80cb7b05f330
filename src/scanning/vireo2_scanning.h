#pragma once

#include <atomic>

namespace vireo2 {

// The scanning engine of the device. It holds the scan state that the status
// poll and the scan exports read: 0 idle, 2 scanning, 3 patch data ready,
// 5 aborted on the instrument, 6 stopped by the caller, 7 head not home,
// -1 failed. Track-mode scanning builds on this state.
class Vireo2Scanning {
public:
    static constexpr int kIdle = 0;
    static constexpr int kScanning = 2;
    static constexpr int kDataReady = 3;
    static constexpr int kAbortedOnInstrument = 5;
    static constexpr int kStopped = 6;
    static constexpr int kHeadNotHome = 7;
    static constexpr int kFailed = -1;

    void setTrackInUse(bool inUse) { trackInUse_ = inUse; }
    bool trackInUse() const { return trackInUse_; }

    int state() const { return state_; }
    void setState(int state) { state_ = state; }

    // Reads the state; terminal values (3, 5, 6, -1) are reported once and
    // the state returns to idle.
    int status();

    int patchCount() const { return 0; }

    // A scan trigger reported by the track and not yet asked for; asking
    // clears it.
    void setScanRequested(bool requested) { scanRequested_ = requested; }
    bool takeScanRequested() { return scanRequested_.exchange(false); }

private:
    std::atomic<bool> trackInUse_{false};
    std::atomic<int> state_{kIdle};
    std::atomic<bool> scanRequested_{false};
};

} // namespace vireo2
