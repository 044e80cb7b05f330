#pragma once

#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "vireo2.h"

namespace vireo2::bench {

// Times of one measured series, in any unit.
struct Series {
    std::vector<double> values;

    void add(double value) { values.push_back(value); }
    double median() const
    {
        std::vector<double> sorted = values;
        std::sort(sorted.begin(), sorted.end());
        return sorted.empty() ? 0.0 : sorted[sorted.size() / 2];
    }
    double least() const { return values.empty() ? 0.0 : *std::min_element(values.begin(), values.end()); }
    double most() const { return values.empty() ? 0.0 : *std::max_element(values.begin(), values.end()); }
};

// Seconds one call takes; a call that fails ends the benchmark with the
// library's error record, since its figures would mean nothing.
template <typename F>
double timedSeconds(F&& call)
{
    QElapsedTimer timer;
    timer.start();
    if (!call()) {
        std::fprintf(stderr, "call failed: %d %s\n", GetLastErrorCode(), GetLastErrorString());
        std::exit(1);
    }
    return double(timer.nsecsElapsed()) / 1e9;
}

} // namespace vireo2::bench
