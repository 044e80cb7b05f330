#pragma once

#include <QString>
#include <vector>

namespace vireo2 {

// How far a built strip can be trusted. Each patch carries flags of its
// own; the strip carries those of every patch plus its own. The values are
// those of the VIREO2_SCAN_* constants in vireo2.h.
namespace quality {
// The patch's record was taken from the fitted grid, not from the walk
// (Sync reads 2.0). Not a doubt by itself: the fit was clear.
constexpr int kCorrected = 0x01;
// No steady reading near the patch's centre: the aperture saw a neighbour.
constexpr int kUnsteady = 0x02;
// Where the patch lies is not certain: the walk and the fitted grid disagree
// and the grid is not clearly better.
constexpr int kUncertain = 0x04;
// An end patch that cannot be told from the paper: it may be margin.
constexpr int kLikePaper = 0x08;
// Strip: fewer patches than the scan was configured for.
constexpr int kShort = 0x10;
// Strip: the inked row does not fit the configured count and width.
constexpr int kWidthMismatch = 0x20;

// Flags that make a result suspect: everything but a clear correction.
constexpr int kSuspect = kUnsteady | kUncertain | kLikePaper | kShort | kWidthMismatch;
} // namespace quality

struct StripQuality {
    int strip = 0;             // flags of the strip, including every patch's
    std::vector<int> patches;  // flags of each patch, in patch order

    bool suspect() const { return (strip & quality::kSuspect) != 0; }
};

// One log line: the strip's flags and the patches (1-based) each flag
// names, e.g. "Scan quality 0x16: 24 of 30 patches; unsteady 3, 7".
QString describeQuality(const StripQuality& quality, int expected, int found);

} // namespace vireo2
