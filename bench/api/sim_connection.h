#pragma once

#include "sim_process.h"
#include "vireo2.h"
#include <cstdio>

namespace vireo2::bench {

// Starts the simulator in its own process and connects the library to it
// through the exports; says on stderr what failed.
inline bool connectToSimulator(SimProcess& sim)
{
    if (!startSimulatorFor(sim, &SetOption))
        return false;
    if (Connect())
        return true;
    std::fprintf(stderr, "Connect: %d %s\n", GetLastErrorCode(), GetLastErrorString());
    return false;
}

} // namespace vireo2::bench
