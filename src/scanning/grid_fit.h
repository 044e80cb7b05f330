#pragma once

#include <vector>

#include "scanning/scan_record.h"

namespace vireo2 {

// Fits a row of N patches of pitch w (times a scale near 1, for a track
// running slightly off its speed) to a traverse at once, from the readings
// alone: the grid whose N + 1 boundaries gather the most colour change
// between neighbouring readings. A boundary shows as a run of changes while
// the aperture crosses it, flat readings as none, so the best grid puts its
// boundaries on the real ones and leaves steady stretches inside its patches.
//
// The search is bounded by what the readings prove: the row starts at or
// after the sheet's edge and no later than the first ink, and ends no
// earlier than the last ink and at or before the far edge. A row that cannot
// fit between those bounds does not match the configured count and width.
class GridFit {
public:
    static constexpr double kApertureRadius = 1.0;  // mm
    static constexpr double kMaximumScale = 0.015;  // ± speed error fitted

    struct Bounds {
        int from = 0;          // first reading wholly on the sheet
        int to = 0;            // one past the last such reading
        double sheetEdge = 0.0;    // the row starts here or later
        double farSheetEdge = 0.0; // and ends here or earlier
        double firstInk = 0.0; // position: ink seen here, so the row began before
        double lastInk = 0.0;  // position: ink seen here, so the row ends after
        // Where the walk found the first patch's near edge (< 0: nowhere);
        // among rows that gather the same contrast, the one starting there.
        double walkStart = -1.0;
    };
    struct Grid {
        bool found = false;
        double start = 0.0;    // first boundary, mm
        double pitch = 0.0;    // patch pitch, mm
        double score = 0.0;    // contrast gathered by its boundaries
        double margin = 0.0;   // its lead over the best grid a half patch or more away
        double centre(int patch) const { return start + (patch + 0.5) * pitch; }
        double boundary(int index) const { return start + index * pitch; }
    };

    GridFit(const ScanRecordList& list, const Bounds& bounds, int count, double width);

    Grid fit() const;
    // Contrast gathered at one boundary position (ΔE*ab-like units).
    double contrastAt(double position) const;
    // Colour change between reading i and i + 1 (ΔE*ab); readings off the
    // sheet count as its first or last.
    double change(int i) const;
    // Typical change between two readings of one flat surface.
    double noise() const { return noise_; }
    // Contrast a boundary must gather to count as seen.
    double visibleContrast() const;

private:
    struct Pair {
        double start, end, score;
    };
    double score(const std::vector<double>& profile, double start, double end) const;
    void scan(const std::vector<double>& profile, double startFrom, double startTo, double endFrom, double endTo,
              double step, std::vector<Pair>* pairs) const;

    const ScanRecordList& list_;
    Bounds bounds_;
    int count_;
    double width_;
    double lo_ = 0.0;                 // position of contrast bin 0
    std::vector<double> changes_;     // per gap from bounds.from
    std::vector<double> contrast_;    // per bin of kBin mm
    // The largest contrast within a few tenths of a millimetre: two rows
    // that put their edges on the same real edges score the same on it,
    // however the sampling phase shaped each peak.
    std::vector<double> pooled_;
    double noise_ = 0.0;
    double halfKernel_ = 1.0;         // mm
};

} // namespace vireo2
