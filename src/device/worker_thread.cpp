#include "device/worker_thread.h"
#include "threading/locks.h"

#include "device/nerva.h"
#include "settings/library_errors.h"

namespace vireo2 {

WorkerThread::WorkerThread(Nerva* device, bool needsFile, const QStringList& arguments)
    : device_(device), needsFile_(needsFile), arguments_(arguments)
{
}

// Runs the long operation under the operation lock. Backup and restore need
// a file argument; this instrument offers neither, so they end as failed
// (-1), as does any other operation.
void WorkerThread::run()
{
    RecursiveMutex* lock = device_->operationMutex();
    if (!lock->tryLock(kOperationLockTimeoutMs)) {
        progress_ = -1.0;
        exitFence_.threadDone();
        return;
    }
    progress_ = 0.0;
    bool succeeded = false;
    if (needsFile_ && arguments_.size() >= 2 && arguments_.at(1).isEmpty())
        device_->log()->LogErrorOnly(errors::kMissingArguments, errors::kMissingArguments.message());
    progress_ = succeeded ? 100.0 : -1.0;
    lock->unlock();
    exitFence_.threadDone();
}

} // namespace vireo2
