#pragma once

#include <array>

#include "scanning/motion_profile.h"
#include "scanning/scan_record.h"

namespace vireo2 {

// Streamed readings (time stamp and spectra) become measurement records:
// Position from the motion profile, L*a*b* of data set 0
// under D50/2°, and Ripple, the colour change to both neighbours.
void prepareRecords(ScanRecordList& records, const MotionProfile& motion);

// The paper's colour from the sheet's near margin: past the first 15 mm and
// the bare track, the brightest run of at least three steady readings within
// 20 mm, averaged over up to ten. False when there is none.
bool paperFromMargin(const ScanRecordList& records, std::array<double, 3>* paper);

// dE* of every record: its ΔE*ab to the paper.
void fillDeltaE(ScanRecordList& records, const std::array<double, 3>& paper);

} // namespace vireo2
