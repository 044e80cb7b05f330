#include "transport/hand_over_spin.h"

#include <atomic>
#include <chrono>

namespace vireo2::handover {
namespace {

// Steady-clock time until which hand-overs wait without spinning.
std::atomic<qint64> gSpinPausedUntil{0};
thread_local bool tThreadSpins = true;

} // namespace

qint64 steadyNanos()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool spinningPaused()
{
    return steadyNanos() < gSpinPausedUntil.load(std::memory_order_relaxed);
}

void setThreadSpins(bool spins)
{
    tThreadSpins = spins;
}

bool threadSpins()
{
    return tThreadSpins;
}

void pauseSpinning()
{
    gSpinPausedUntil.store(steadyNanos() + kSpinPauseNanos, std::memory_order_relaxed);
}

} // namespace vireo2::handover
