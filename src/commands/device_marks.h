#pragma once

#include <atomic>

namespace vireo2 {

// Marks the command handlers keep on the device, plain state that outlives
// one line. The device holds it; handlers read and write it directly.
struct DeviceMarks {
    // Cleared while an object push or a firmware update runs, set again on
    // every way out (TransferUnderway).
    std::atomic<bool> transferComplete{true};
    // Set by "tasklist paper 0" and "tasklist paper 1" alike.
    std::atomic<bool> paperTask{false};
    // "scan get preparedness" answers "1" while it is 0; nothing in this
    // library raises it.
    std::atomic<int> preparednessCounter{0};
};

// Clears the transfer mark for its lifetime.
class TransferUnderway {
public:
    explicit TransferUnderway(DeviceMarks& marks) : marks_(marks) { marks_.transferComplete = false; }
    ~TransferUnderway() { marks_.transferComplete = true; }
    TransferUnderway(const TransferUnderway&) = delete;
    TransferUnderway& operator=(const TransferUnderway&) = delete;

private:
    DeviceMarks& marks_;
};

} // namespace vireo2
