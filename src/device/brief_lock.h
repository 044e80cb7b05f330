#pragma once

#include "threading/locks.h"

namespace vireo2 {

// For operations whose exports take no lock but which talk to the
// instrument: waits briefly for a status poll (which holds the lock for a few
// exchanges) to finish, so that the two do not collide on the transport. A
// host operation holding the lock longer is not waited for; the exchange then
// meets it as "Operation in progress.".
class BriefLock {
public:
    static constexpr int kWaitMs = 250;

    explicit BriefLock(RecursiveMutex* mutex) : mutex_(mutex), locked_(mutex->tryLock(kWaitMs)) {}
    ~BriefLock()
    {
        if (locked_)
            mutex_->unlock();
    }
    BriefLock(const BriefLock&) = delete;
    BriefLock& operator=(const BriefLock&) = delete;

private:
    RecursiveMutex* mutex_;
    bool locked_;
};

} // namespace vireo2
