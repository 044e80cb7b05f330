#pragma once

#include <algorithm>
#include <vector>

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

} // namespace vireo2::bench
