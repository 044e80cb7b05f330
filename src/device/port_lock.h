#pragma once

#include "device/nerva.h"

namespace vireo2 {

// Outcome of taking the operation lock, kept by the caller until release.
struct PortLockToken {
    bool lockFailed = false;  // not obtained within the timeout
    bool portReset = false;   // not obtained, no long operation ran: disconnected
};

// Takes the device's operation lock, waiting at most timeoutMs. On failure
// records kLongOperationRunning when a long operation runs, otherwise records kLockFailed and
// disconnects the instrument so that the next call starts afresh.
void LockPort(Nerva& device, PortLockToken& token, int timeoutMs = kOperationLockTimeoutMs);

// Releases what LockPort took. After a port reset it logs the port state
// ("PORT IS VALID : 0/1") instead.
void UnlockPort(Nerva& device, const PortLockToken& token);

// Scope guard: locks on construction, unlocks on destruction.
class PortLock {
public:
    explicit PortLock(Nerva& device, int timeoutMs = kOperationLockTimeoutMs) : device_(device)
    {
        LockPort(device_, token_, timeoutMs);
    }
    ~PortLock() { UnlockPort(device_, token_); }
    PortLock(const PortLock&) = delete;
    PortLock& operator=(const PortLock&) = delete;

    bool failed() const { return token_.lockFailed; }

private:
    Nerva& device_;
    PortLockToken token_;
};

} // namespace vireo2
