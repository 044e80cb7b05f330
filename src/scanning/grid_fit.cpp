#include "scanning/grid_fit.h"

#include <algorithm>
#include <cmath>

#include "colour/colorimetry.h"

namespace vireo2 {
namespace {

constexpr double kBin = 0.1;             // mm per contrast bin
constexpr double kWork = 300000.0;       // boundary look-ups of the coarse search
constexpr double kLeastVisible = 1.0;    // contrast, ΔE*ab
constexpr double kNoiseFloor = 0.02;
constexpr double kOtherRow = 0.75;       // patch widths an end moves to make another row

double position(const ScanRecord& record)
{
    return record[ScanRecord::kPosition];
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0.0;
    const auto middle = values.begin() + long(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

// The contrast profile: every gap between two readings spreads its colour
// change over the boundary positions that could have caused it (a boundary
// within the aperture radius of either reading), weighted towards the gap's
// middle, so the profile peaks where the aperture crossed an edge.
GridFit::GridFit(const ScanRecordList& list, const Bounds& bounds, int count, double width)
    : list_(list), bounds_(bounds), count_(count), width_(width)
{
    if (bounds_.to - bounds_.from < 2)
        return;
    const double first = position(list_[size_t(bounds_.from)]);
    lo_ = std::min(first, bounds_.sheetEdge) - 2.0 * kApertureRadius;
    const double hi = std::max(position(list_[size_t(bounds_.to - 1)]), bounds_.farSheetEdge) + 2.0 * kApertureRadius;
    contrast_.assign(size_t(std::max(0.0, (hi - lo_) / kBin)) + 1, 0.0);
    std::vector<double> halves, margin;
    for (int i = bounds_.from; i + 1 < bounds_.to; ++i) {
        const double x0 = position(list_[size_t(i)]), x1 = position(list_[size_t(i + 1)]);
        const double d = colour::DeltaE(list_[size_t(i)].values.data() + ScanRecord::kL,
                                        list_[size_t(i + 1)].values.data() + ScanRecord::kL);
        changes_.push_back(d);
        const double middle = (x0 + x1) / 2.0, half = kApertureRadius + std::max(0.0, x1 - x0) / 2.0;
        halves.push_back(half);
        if (x0 >= first && x1 <= bounds_.firstInk - kApertureRadius - (x1 - x0))
            margin.push_back(d);
        const int first = std::max(0, int(std::ceil((middle - half - lo_) / kBin)));
        const int last = std::min(int(contrast_.size()) - 1, int(std::floor((middle + half - lo_) / kBin)));
        for (int b = first; b <= last; ++b)
            contrast_[size_t(b)] += d * (1.0 - std::abs(lo_ + b * kBin - middle) / half);
    }
    changes_.push_back(changes_.empty() ? 0.0 : changes_.back());
    halfKernel_ = median(halves);
    const int pool = std::max(1, int(0.5 * halfKernel_ / kBin));
    pooled_.assign(contrast_.size(), 0.0);
    for (int b = 0; b < int(contrast_.size()); ++b)
        for (int j = std::max(0, b - pool); j <= std::min(int(contrast_.size()) - 1, b + pool); ++j)
            pooled_[size_t(b)] = std::max(pooled_[size_t(b)], contrast_[size_t(j)]);
    if (margin.size() >= 3) {
        noise_ = median(margin);
    } else {
        std::vector<double> sorted = changes_;
        std::sort(sorted.begin(), sorted.end());
        noise_ = sorted.empty() ? 0.0 : sorted[sorted.size() / 10];
    }
    noise_ = std::max(noise_, kNoiseFloor);
}

double GridFit::change(int i) const
{
    if (changes_.empty())
        return 0.0;
    const long at = std::clamp(long(i) - bounds_.from, 0L, long(changes_.size()) - 1);
    return changes_[size_t(at)];
}

double GridFit::contrastAt(double at) const
{
    const long bin = std::lround((at - lo_) / kBin);
    return bin >= 0 && bin < long(contrast_.size()) ? contrast_[size_t(bin)] : 0.0;
}

double GridFit::visibleContrast() const
{
    // Noise gathered at one position: about one reading gap's worth of
    // changes per half kernel, weighted one half on average.
    const double gap = std::max(halfKernel_ - kApertureRadius, 0.05) * 2.0;
    return std::max(kLeastVisible, 4.0 * noise_ * halfKernel_ / gap);
}

double GridFit::score(const std::vector<double>& profile, double start, double end) const
{
    const double pitch = (end - start) / count_;
    double sum = 0.0;
    for (int j = 0; j <= count_; ++j) {
        const long bin = std::lround((start + j * pitch - lo_) / kBin);
        if (bin >= 0 && bin < long(profile.size()))
            sum += profile[size_t(bin)];
    }
    return sum;
}

// Every grid from a first boundary in [startFrom, startTo] to a last one in
// [endFrom, endTo] whose pitch is within the fitted scale of the width.
void GridFit::scan(const std::vector<double>& profile, double startFrom, double startTo, double endFrom,
                   double endTo, double step, std::vector<Pair>* pairs) const
{
    const double length = count_ * width_;
    for (double start = startFrom; start <= startTo + 1e-9; start += step) {
        const double low = std::max(endFrom, start + length * (1.0 - kMaximumScale));
        const double high = std::min(endTo, start + length * (1.0 + kMaximumScale));
        for (double end = low; end <= high + 1e-9; end += step)
            pairs->push_back({start, end, score(profile, start, end)});
    }
}

GridFit::Grid GridFit::fit() const
{
    Grid grid;
    if (count_ <= 0 || width_ <= 0.0 || contrast_.empty())
        return grid;
    const double startFrom = bounds_.sheetEdge - kApertureRadius;
    const double startTo = std::max(startFrom, bounds_.firstInk + kApertureRadius);
    const double endTo = std::max(bounds_.farSheetEdge + kApertureRadius, startTo);
    const double endFrom = std::min(endTo, bounds_.lastInk - kApertureRadius);
    const double length = count_ * width_;
    if (endTo - startFrom < length * (1.0 - kMaximumScale) || endFrom - startTo > length * (1.0 + kMaximumScale))
        return grid;

    // Coarse: a step small beside the contrast peaks, widened only when the
    // room to search is large.
    double step = 0.4 * halfKernel_;
    const double startRoom = startTo - startFrom;
    const double endRoom = std::min(endTo - endFrom, 2.0 * kMaximumScale * length);
    while ((startRoom / step + 1.0) * (endRoom / step + 1.0) * (count_ + 1) > kWork)
        step *= 1.25;
    std::vector<Pair> pairs;
    scan(pooled_, startFrom, startTo, endFrom, endTo, step, &pairs);
    if (pairs.empty())
        return grid;
    auto byScore = [](const Pair& x, const Pair& y) { return x.score < y.score; };
    // The best row within a coarse step of `around`, on `profile`.
    auto refine = [&](const std::vector<double>& profile, const Pair& around) {
        std::vector<Pair> fine;
        scan(profile, std::max(startFrom, around.start - step), std::min(startTo, around.start + step),
             std::max(endFrom, around.end - step), std::min(endTo, around.end + step), kBin, &fine);
        Pair top{around.start, around.end, score(profile, around.start, around.end)};
        for (const Pair& p : fine)
            if (p.score > top.score)
                top = p;
        return top;
    };
    Pair best = refine(pooled_, *std::max_element(pairs.begin(), pairs.end(), byScore));
    // The best row with an end three quarters of a patch or more away (a
    // row one patch over, or one with the wrong count in view): how clear
    // the fit is. Both are refined first, so that neither loses to the
    // coarse lattice. Of two rows that gather the same contrast (one that
    // could start a patch earlier or later, all paper there), the one the
    // walk found, when it found either.
    std::vector<Pair> far;
    for (const Pair& p : pairs)
        if (std::max(std::abs(p.start - best.start), std::abs(p.end - best.end)) >= kOtherRow * width_)
            far.push_back(p);
    grid.margin = best.score;
    if (!far.empty()) {
        Pair rival = refine(pooled_, *std::max_element(far.begin(), far.end(), byScore));
        if (rival.score > best.score)
            std::swap(best, rival);
        const bool tie = best.score - rival.score < visibleContrast();
        if (tie && bounds_.walkStart >= 0.0 && std::abs(rival.start - bounds_.walkStart) < width_ / 2.0)
            std::swap(best, rival);
        grid.margin = best.score - rival.score;
    }

    // Fine: the edges on the peaks themselves, around the chosen row.
    const Pair top = refine(contrast_, best);
    grid.found = true;
    grid.start = top.start;
    grid.pitch = (top.end - top.start) / count_;
    grid.score = top.score;
    return grid;
}

} // namespace vireo2
