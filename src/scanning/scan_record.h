#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace vireo2 {

// One measurement taken while the read head crosses the sheet, or one patch
// built from such measurements: nine header values, then the four
// measurement conditions' 31 reflectance values (percent, 400 to 700 nm in
// 10 nm steps), condition 0 first. Stream parsing, patch building, the strip
// files and the scan exports all share this layout.
struct ScanRecord {
    static constexpr int kHeaderCount = 9;
    static constexpr int kSetCount = 4;
    static constexpr int kWavelengthCount = 31;
    static constexpr int kValueCount = kHeaderCount + kSetCount * kWavelengthCount;

    // Header indices.
    static constexpr int kSync = 0;      // 1.0 when a patch re-synchronised the grid
    static constexpr int kDelta = 1;     // patch: (found − expected centre) ÷ width
    static constexpr int kTimeStamp = 2; // measurement time, compared with references B and C
    static constexpr int kL = 3;
    static constexpr int kA = 4;
    static constexpr int kB = 5;
    static constexpr int kDeltaE = 6;    // difference to the paper reference colour
    static constexpr int kPosition = 7;  // mm along the track; a patch's centre
    static constexpr int kRipple = 8;    // unsteadiness: low on a flat patch

    std::array<double, kValueCount> values{};

    double& operator[](int index) { return values[static_cast<size_t>(index)]; }
    double operator[](int index) const { return values[static_cast<size_t>(index)]; }

    // Reflectance of data set `set` at wavelength index `wavelength`.
    double& spectral(int set, int wavelength)
    {
        return values[static_cast<size_t>(kHeaderCount + set * kWavelengthCount + wavelength)];
    }
    double spectral(int set, int wavelength) const
    {
        return values[static_cast<size_t>(kHeaderCount + set * kWavelengthCount + wavelength)];
    }
    const double* spectrum(int set) const
    {
        return values.data() + kHeaderCount + set * kWavelengthCount;
    }
    double* spectrum(int set) { return values.data() + kHeaderCount + set * kWavelengthCount; }
};

using ScanRecordList = std::vector<ScanRecord>;

} // namespace vireo2
