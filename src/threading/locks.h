#pragma once

#include <chrono>
#include <climits>
#include <condition_variable>
#include <mutex>
#include <thread>

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
// Built on a mutex and a condition variable (not a timed pthread mutex,
// whose timed wait ThreadSanitizer cannot follow). An unlock by a thread
// that does not hold the lock is ignored.
//
// A thread that ends while holding it leaves it held (abandon()): nobody
// can take it, not even a later thread that the system gives the same id,
// until the owner of that thread's lifetime releases the hold
// (releaseAbandoned()). Both are defined operations on this lock's own
// state, unlike unlocking a system mutex from a thread that does not own it.
class RecursiveMutex {
public:
    void lock() { tryLock(-1); }
    // Waits at most `timeoutMs` (0: does not wait; negative: waits for ever).
    bool tryLock(int timeoutMs = 0)
    {
        std::unique_lock<std::mutex> guard(mutex_);
        const std::thread::id me = std::this_thread::get_id();
        if (depth_ > 0 && !abandoned_ && owner_ == me) {
            ++depth_;
            return true;
        }
        auto free = [this] { return depth_ == 0; };
        if (timeoutMs < 0)
            released_.wait(guard, free);
        else if (!released_.wait_for(guard, std::chrono::milliseconds(timeoutMs), free))
            return false;
        owner_ = me;
        depth_ = 1;
        return true;
    }
    void unlock()
    {
        std::lock_guard<std::mutex> guard(mutex_);
        if (depth_ == 0 || owner_ != std::this_thread::get_id())
            return;
        if (--depth_ == 0) {
            owner_ = std::thread::id();
            released_.notify_one();
        }
    }
    // Called by a thread about to end: when it holds the lock, the hold stays
    // but belongs to no thread any more. True when it held the lock.
    bool abandon()
    {
        std::lock_guard<std::mutex> guard(mutex_);
        if (depth_ == 0 || abandoned_ || owner_ != std::this_thread::get_id())
            return false;
        owner_ = std::thread::id();
        abandoned_ = true;
        return true;
    }
    // Frees a hold left by a thread that has ended; a hold of a living
    // thread is left alone. True when there was one.
    bool releaseAbandoned()
    {
        std::lock_guard<std::mutex> guard(mutex_);
        if (!abandoned_)
            return false;
        abandoned_ = false;
        depth_ = 0;
        released_.notify_one();
        return true;
    }

private:
    std::mutex mutex_;
    std::condition_variable released_;
    std::thread::id owner_;
    int depth_ = 0;
    bool abandoned_ = false;
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

// Hands everything a thread did over to whoever waited for it to end. A
// QThread's wait() learns of the end through Qt's own mutex, which
// ThreadSanitizer cannot follow; the thread calls threadDone() as its last
// step and the waiter joined() after wait(), so the hand-over also runs
// through a lock the sanitizer sees.
class ExitFence {
public:
    void threadDone() { std::lock_guard<std::mutex> guard(mutex_); }
    void joined() { std::lock_guard<std::mutex> guard(mutex_); }

private:
    std::mutex mutex_;
};

} // namespace vireo2
