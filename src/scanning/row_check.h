#pragma once

#include <array>
#include <vector>

#include "scanning/grid_fit.h"
#include "scanning/patch_quality.h"
#include "scanning/scan_record.h"

namespace vireo2 {

// Holds the walk's patches against the fitted grid. Where the walk's reading
// for patch k lies steady inside the grid's patch k, its record stays as the
// walk made it. Where it does not (a first patch taken for margin, a slip, a
// merge or a split), or where the walk ended short, a clear fit supplies the
// steadiest reading near the grid's centre instead (Sync 2.0, quality
// kCorrected); when the fit is not clear, the correction also says that its
// place is uncertain (kUncertain): a walk that matches neither of two tied
// rows is less likely right than either. Every patch and the strip get
// their quality flags.
class RowCheck {
public:
    struct Input {
        int expectedCount = 0;
        double patchWidth = 0.0;
        std::array<double, 3> paperLab{};
    };

    RowCheck(const ScanRecordList& list, const GridFit& fit, const Input& input);

    // `picks`: the reading the walk took for each of `patches`.
    void apply(const GridFit::Grid& grid, const std::vector<int>& picks, ScanRecordList* patches,
               StripQuality* quality) const;

    // Steadiness of reading i: the smaller colour change to a neighbour.
    double steadiness(int i) const;

private:
    bool keepsWalk(const GridFit::Grid& grid, int patch, int pick) const;
    int steadiestNear(const GridFit::Grid& grid, int patch) const;
    ScanRecord fitted(const GridFit::Grid& grid, int patch, int reading) const;
    static double insideBy(const GridFit::Grid& grid, int patch, double x);
    int flagsOf(const GridFit::Grid* grid, int patch, int reading) const;
    void markPaperLikeEnds(const GridFit::Grid& grid, const ScanRecordList& patches, StripQuality* quality) const;

    const ScanRecordList& list_;
    const GridFit& fit_;
    Input input_;
};

} // namespace vireo2
