#pragma once

#include <chrono>
#include <climits>
#include <condition_variable>
#include <mutex>

namespace vireo2 {

// The library's locks and wait conditions, on the standard library's
// primitives. They keep the shape of Qt's (lock, unlock, tryLock with a
// timeout, a locker that can unlock and relock, a wait with a timeout), but
// unlike Qt 5's they are visible to ThreadSanitizer, which checks the
// library's threads (docs/robustness.md).

class Mutex {
public:
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }
    bool tryLock() { return mutex_.try_lock(); }

private:
    std::mutex mutex_;
};

// A recursive lock that can be waited for with a bound: the operation lock.
class RecursiveMutex {
public:
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }
    // Waits at most `timeoutMs` (0: does not wait; negative: waits for ever).
    bool tryLock(int timeoutMs = 0)
    {
        if (timeoutMs < 0) {
            mutex_.lock();
            return true;
        }
        return mutex_.try_lock_for(std::chrono::milliseconds(timeoutMs));
    }

private:
    std::recursive_timed_mutex mutex_;
};

// Holds a lock for its scope; unlock() and relock() hand it over briefly.
template <typename Lock>
class MutexLocker {
public:
    explicit MutexLocker(Lock* mutex) : mutex_(mutex) { mutex_->lock(); }
    ~MutexLocker()
    {
        if (locked_)
            mutex_->unlock();
    }
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;

    void unlock()
    {
        mutex_->unlock();
        locked_ = false;
    }
    void relock()
    {
        mutex_->lock();
        locked_ = true;
    }

private:
    Lock* mutex_;
    bool locked_ = true;
};

// What is left of a deadline (anything with remainingTime() in ms, -1 for
// never, such as QDeadlineTimer) as a WaitCondition timeout.
template <typename Deadline>
unsigned long msLeft(const Deadline& deadline)
{
    const auto left = deadline.remainingTime();
    return left < 0 ? ULONG_MAX : static_cast<unsigned long>(left);
}

class WaitCondition {
public:
    // Releases `mutex` (held by the caller) while it waits, at most
    // `timeoutMs` (ULONG_MAX: no limit). False when the time ran out.
    bool wait(Mutex* mutex, unsigned long timeoutMs = ULONG_MAX)
    {
        if (timeoutMs == ULONG_MAX) {
            condition_.wait(*mutex);
            return true;
        }
        return condition_.wait_for(*mutex, std::chrono::milliseconds(timeoutMs)) == std::cv_status::no_timeout;
    }
    void wakeOne() { condition_.notify_one(); }
    void wakeAll() { condition_.notify_all(); }

private:
    std::condition_variable_any condition_;
};

} // namespace vireo2
