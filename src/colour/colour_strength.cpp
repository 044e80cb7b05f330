#include "colour/colour_strength.h"

#include <algorithm>

#include "colour/colorimetry.h"

namespace vireo2::colour {

namespace {

constexpr double kSumFloor = 0.04;
constexpr double kSingleFloor = 0.0001;
constexpr double kStrengthCap = 1000.0;
constexpr int kSumFirstPosition = 2;
constexpr int kSumLastPosition = 28;
constexpr double kApparentDivisor = 3100.0;

// K/S of a reflectance in percent, the fraction raised to floor first.
double kubelkaMunk(double reflectancePercent, double floor) noexcept
{
    const double r = std::max(reflectancePercent / 100.0, floor);
    return (1.0 - r) * (1.0 - r) / (2.0 * r);
}

double cappedStrength(double sampleKs, double standardKs) noexcept
{
    if (standardKs == 0.0)
        return sampleKs == 0.0 ? 100.0 : kStrengthCap;
    return std::min(sampleKs / standardKs * 100.0, kStrengthCap);
}

double kubelkaMunkSum(const double* spectrum) noexcept
{
    double sum = 0.0;
    for (int i = kSumFirstPosition; i <= kSumLastPosition; ++i)
        sum += kubelkaMunk(spectrum[i], kSumFloor);
    return sum;
}

double spectrumSum(const double* spectrum) noexcept
{
    double sum = 0.0;
    for (int i = 0; i < kSpectrumLength; ++i)
        sum += spectrum[i];
    return sum;
}

}  // namespace

double StrengthSum(const double* standard, const double* sample) noexcept
{
    return cappedStrength(kubelkaMunkSum(sample), kubelkaMunkSum(standard));
}

double StrengthAt(const double* standard, const double* sample, int position) noexcept
{
    if (position < 0 || position >= kSpectrumLength)
        return 0.0;
    return cappedStrength(kubelkaMunk(sample[position], kSingleFloor), kubelkaMunk(standard[position], kSingleFloor));
}

double StrengthMaxAbsorption(const double* standard, const double* sample) noexcept
{
    const Triple standardXyz = SpectrumToXYZ(standard, kD65Observer10);
    const Triple sampleXyz = SpectrumToXYZ(sample, kD65Observer10);
    int channel = 0;
    for (int c = 1; c < 3; ++c) {
        if (standardXyz[c] < standardXyz[channel])
            channel = c;
    }
    return cappedStrength(kubelkaMunk(sampleXyz[channel], kSingleFloor),
                          kubelkaMunk(standardXyz[channel], kSingleFloor));
}

double ApparentStrength(const double* spectrum1, const double* spectrum2, const double* spectrum3) noexcept
{
    const double s1 = spectrumSum(spectrum1);
    if (s1 == 0.0)
        return 0.0;
    return (spectrumSum(spectrum2) / s1 - spectrumSum(spectrum3) / kApparentDivisor) * 100.0;
}

}  // namespace vireo2::colour
