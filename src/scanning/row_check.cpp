#include "scanning/row_check.h"

#include <algorithm>
#include <cmath>

#include "colour/colorimetry.h"
#include "scanning/patch_builder.h"

namespace vireo2 {
namespace {

constexpr double kSteadyChange = 1.5;   // ΔE*ab to the steadier neighbour
constexpr double kUnsteadyChange = 2.0;
constexpr double kInsideSlack = 0.25;   // mm of the aperture over an edge: ~5 % of its area
constexpr double kCleanSlack = 0.1;     // mm around the clean zone, for the fit's own error
constexpr double kDeepInside = 0.2;     // mm inside the clean zone: clean whatever the neighbours
constexpr double kLikePaper = 1.0;      // ΔE*ab

double position(const ScanRecord& record)
{
    return record[ScanRecord::kPosition];
}

} // namespace

RowCheck::RowCheck(const ScanRecordList& list, const GridFit& fit, const Input& input)
    : list_(list), fit_(fit), input_(input)
{
}

double RowCheck::steadiness(int i) const
{
    return std::min(fit_.change(i - 1), fit_.change(i));
}

// How far the aperture of a reading at `x` stays inside the grid's patch
// (negative: it reaches over the edge by that much).
double RowCheck::insideBy(const GridFit::Grid& grid, int patch, double x)
{
    return grid.pitch / 2.0 - GridFit::kApertureRadius - std::abs(x - grid.centre(patch));
}

// A reading is in doubt when it changes from both its neighbours, unless
// the fitted grid puts its aperture well inside its patch: there a change
// only says that a neighbour reading saw an edge.
int RowCheck::flagsOf(const GridFit::Grid* grid, int patch, int reading) const
{
    const double limit = std::max(kUnsteadyChange, 8.0 * fit_.noise());
    if (grid && insideBy(*grid, patch, position(list_[size_t(reading)])) >= kDeepInside)
        return 0;
    return steadiness(reading) > limit ? quality::kUnsteady : 0;
}

// The walk's reading belongs to the grid's patch when its aperture lies well
// inside it (its neighbours may still see edges: at 150 mm/s they do), or
// reaches over the edge by a sliver at most and the reading is steady.
bool RowCheck::keepsWalk(const GridFit::Grid& grid, int patch, int pick) const
{
    const double inside = insideBy(grid, patch, position(list_[size_t(pick)]));
    if (inside >= kDeepInside)
        return true;
    if (inside < -kInsideSlack)
        return false;
    return list_[size_t(pick)][ScanRecord::kRipple] <= PatchBuilder::kSteady ||
           steadiness(pick) <= std::max(kSteadyChange, 6.0 * fit_.noise());
}

// Among the readings whose aperture lies inside the grid's patch (with a
// little slack for the fit), the steadiest; the one nearest the centre when
// none does.
int RowCheck::steadiestNear(const GridFit::Grid& grid, int patch) const
{
    const double centre = grid.centre(patch);
    const double reach = std::max(grid.pitch / 2.0 - GridFit::kApertureRadius, 0.0) + kCleanSlack;
    const auto first = std::lower_bound(list_.begin(), list_.end(), centre - grid.pitch,
                                        [](const ScanRecord& r, double x) { return position(r) < x; });
    int best = -1, nearest = -1;
    double bestValue = 0.0, nearestDistance = 0.0;
    for (auto it = first; it != list_.end() && position(*it) <= centre + grid.pitch; ++it) {
        const int i = int(it - list_.begin());
        const double distance = std::abs(position(*it) - centre);
        if (nearest < 0 || distance < nearestDistance) {
            nearest = i;
            nearestDistance = distance;
        }
        if (distance > reach)
            continue;
        // Ties within the noise go to the reading nearer the centre.
        const double value = steadiness(i) + fit_.noise() * distance / std::max(reach, 0.1);
        if (best < 0 || value < bestValue) {
            best = i;
            bestValue = value;
        }
    }
    return best >= 0 ? best : nearest;
}

ScanRecord RowCheck::fitted(const GridFit::Grid& grid, int patch, int reading) const
{
    ScanRecord record = list_[size_t(reading)];
    record[ScanRecord::kSync] = 2.0;
    record[ScanRecord::kDelta] = (position(record) - grid.centre(patch)) / input_.patchWidth;
    record[ScanRecord::kPosition] = grid.centre(patch);
    return record;
}

void RowCheck::apply(const GridFit::Grid& grid, const std::vector<int>& picks, ScanRecordList* patches,
                     StripQuality* quality) const
{
    const int expected = input_.expectedCount;
    std::vector<int> chosen = picks;
    quality->patches.assign(patches->size(), 0);
    if (grid.found) {
        const bool weak = grid.margin < fit_.visibleContrast();
        for (int k = 0; k < expected; ++k) {
            const bool walked = k < int(patches->size());
            if (walked && keepsWalk(grid, k, picks[size_t(k)]))
                continue;
            const int reading = steadiestNear(grid, k);
            if (reading < 0)
                break;
            const int flags = quality::kCorrected | (weak ? quality::kUncertain : 0);
            if (walked) {
                (*patches)[size_t(k)] = fitted(grid, k, reading);
                quality->patches[size_t(k)] |= flags;
                chosen[size_t(k)] = reading;
            } else {
                patches->push_back(fitted(grid, k, reading));
                quality->patches.push_back(flags);
                chosen.push_back(reading);
            }
        }
        markPaperLikeEnds(grid, *patches, quality);
    } else if (expected > 0) {
        quality->strip |= quality::kWidthMismatch;
    }
    for (size_t k = 0; k < patches->size(); ++k)
        quality->patches[k] |= flagsOf(grid.found ? &grid : nullptr, int(k), chosen[k]);
    if (int(patches->size()) < expected)
        quality->strip |= quality::kShort;
    for (int flags : quality->patches)
        quality->strip |= flags;
}

// An end patch the colour of the paper with no visible edge on its outer
// side may be margin: the row could start (or end) a patch later.
void RowCheck::markPaperLikeEnds(const GridFit::Grid& grid, const ScanRecordList& patches, StripQuality* quality) const
{
    const int count = int(patches.size());
    auto likePaper = [&](int k, double edge) {
        return colour::DeltaE(input_.paperLab.data(), patches[size_t(k)].values.data() + ScanRecord::kL) < kLikePaper &&
               fit_.contrastAt(edge) < fit_.visibleContrast();
    };
    for (int k = 0; k < count && likePaper(k, grid.boundary(k)); ++k)
        quality->patches[size_t(k)] |= quality::kLikePaper;
    for (int k = count - 1; k >= 0 && likePaper(k, grid.boundary(k + 1)); --k)
        quality->patches[size_t(k)] |= quality::kLikePaper;
}

} // namespace vireo2
