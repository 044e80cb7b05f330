#include "scanning/vireo2_scanning.h"

namespace vireo2 {

int Vireo2Scanning::status()
{
    int current = state_.load();
    const bool terminal = current == kDataReady || current == kAbortedOnInstrument || current == kStopped ||
                          current == kFailed;
    if (terminal && state_.compare_exchange_strong(current, kIdle))
        return current;
    return current;
}

} // namespace vireo2
