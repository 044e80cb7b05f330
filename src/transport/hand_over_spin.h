#pragma once

#include <QElapsedTimer>
#include <QThread>

namespace vireo2::handover {

// Right after a hand-over, each side polls this long before it sleeps: an
// exchange is a write request followed at once by a read request, and waking
// a sleeping thread costs more than the whole loopback round trip.
constexpr int kSpinMicros = 100;

// A yield that gives the core away for longer than this means other threads
// are keeping it busy; spinning then pauses for kSpinPauseNanos.
constexpr qint64 kCrowdedYieldNanos = 500 * 1000;
constexpr qint64 kSpinPauseNanos = 200 * 1000 * 1000;

// Nanoseconds of the steady clock.
qint64 steadyNanos();

// True while spinning is paused for every transport in the process (crowded
// cores are a property of the machine, not of one connection).
bool spinningPaused();
void pauseSpinning();

// Whether the calling thread's requests are worth spinning for (on unless
// switched off). A thread whose exchanges need no haste, the background
// status poll, switches it off: both sides of its hand-overs then wait
// without spinning, which would cost more CPU than the microseconds gained.
void setThreadSpins(bool spins);
bool threadSpins();

inline void cpuRelax()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

// Polls `condition` for kSpinMicros, yielding the core meanwhile, and returns
// its last value. A yield that takes long pauses all spinning, so that busy
// cores are not made busier by threads that would only wait.
template <typename Condition>
bool briefly(Condition condition)
{
    if (spinningPaused())
        return condition();
    QElapsedTimer timer;
    timer.start();
    do {
        for (int i = 0; i < 64; ++i) {
            if (condition())
                return true;
            cpuRelax();
        }
        // Let a thread waiting for this core run. When that costs a long
        // time slice, the cores are crowded with busy threads and every
        // further yield would cost as much: hand over by waiting instead.
        const qint64 beforeYield = timer.nsecsElapsed();
        QThread::yieldCurrentThread();
        if (timer.nsecsElapsed() - beforeYield > kCrowdedYieldNanos) {
            pauseSpinning();
            break;
        }
    } while (timer.nsecsElapsed() < kSpinMicros * 1000);
    return condition();
}

} // namespace vireo2::handover
