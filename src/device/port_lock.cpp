#include "device/port_lock.h"

#include "threading/locks.h"

#include "device/nerva.h"
#include "settings/library_errors.h"

namespace vireo2 {

void LockPort(Nerva& device, PortLockToken& token, int timeoutMs)
{
    token = PortLockToken{};
    if (device.operationMutex()->tryLock(timeoutMs))
        return;

    token.lockFailed = true;
    const auto& log = device.log();
    if (device.isWorkerRunning()) {
        log->LogErrorOnly(errors::kLongOperationRunning, errors::kLongOperationRunning.message());
        return;
    }
    log->LogErrorOnly(errors::kLockFailed, errors::kLockFailed.message());
    token.portReset = true;
    device.Disconnect();
}

void UnlockPort(Nerva& device, const PortLockToken& token)
{
    if (!token.portReset) {
        // Only the thread that holds the lock may release it; a failed
        // acquisition therefore has nothing to release.
        if (!token.lockFailed)
            device.operationMutex()->unlock();
        return;
    }
    device.log()->WriteLine(QStringLiteral("PORT IS VALID : %1").arg(device.isPortValid() ? 1 : 0));
}

} // namespace vireo2
