#pragma once

#include <atomic>
#include <climits>
#include <condition_variable>
#include <mutex>

#ifdef __linux__
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace vireo2 {

// A flag one thread sets and one other thread waits for. On Linux it sleeps
// on the flag's own word (a futex): setting it makes a system call only when
// the waiter is really asleep, and the woken waiter takes no mutex on its
// way out. (A mutex re-taken after a condition wait is marked contended by
// the C library, so each such wait also costs a wake-up call on unlock.)
// The flag itself is an atomic, so what the setter did before set() is seen
// by the waiter after wait() or isSet().
class WakeFlag {
public:
    void clear() { state_.store(kClear, std::memory_order_relaxed); }
    bool isSet() const { return state_.load(std::memory_order_acquire) == kSet; }

    void set()
    {
#ifdef __linux__
        if (state_.exchange(kSet, std::memory_order_acq_rel) == kSleeping)
            futex(FUTEX_WAKE_PRIVATE, INT_MAX);
#else
        { std::lock_guard<std::mutex> published(mutex_); state_.store(kSet, std::memory_order_release); }
        condition_.notify_all();
#endif
    }

    void wait()
    {
#ifdef __linux__
        for (;;) {
            int seen = state_.load(std::memory_order_acquire);
            if (seen == kSet)
                return;
            if (seen == kClear && !state_.compare_exchange_strong(seen, kSleeping, std::memory_order_acq_rel))
                continue;
            futex(FUTEX_WAIT_PRIVATE, kSleeping);
        }
#else
        std::unique_lock<std::mutex> lock(mutex_);
        condition_.wait(lock, [this] { return isSet(); });
#endif
    }

private:
    enum : int { kClear = 0, kSet = 1, kSleeping = 2 };

#ifdef __linux__
    // The atomic's word is the futex: std::atomic<int> is a plain int.
    void futex(int operation, int value)
    {
        static_assert(sizeof(std::atomic<int>) == sizeof(int), "futex word");
        ::syscall(SYS_futex, reinterpret_cast<int*>(&state_), operation, value, nullptr, nullptr, 0);
    }
#else
    std::mutex mutex_;
    std::condition_variable condition_;
#endif

    std::atomic<int> state_{kClear};
};

} // namespace vireo2
