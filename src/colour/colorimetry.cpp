#include "colour/colorimetry.h"

#include <cmath>

#include "colour/lab_function.h"
#include "colour/weight_reader.h"

namespace vireo2::colour {

namespace {

using lab::kWeightScale;
constexpr double kHueForZeroA = 0.000001;
constexpr double kDegreesPerRadian = 180.0 / 3.14159265358979323846;

double labFunction(double t) noexcept
{
    return lab::f(t, [](double v) { return std::cbrt(v); });
}

// Tristimulus values relative to the illuminant's white, the common first
// step of L*a*b* and Hunter Lab.
struct RelativeXYZ {
    double x, y, z;
};

RelativeXYZ relativeToWhite(double X, double Y, double Z, const IlluminantWhite& white) noexcept
{
    return {X / white.Xn, Y / white.Yn, Z / white.Zn};
}

Triple labDifference(const double* standard, const double* sample, int index) noexcept
{
    const Triple a = SpectrumToLab(standard, index, false);
    const Triple b = SpectrumToLab(sample, index, false);
    return {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
}

}  // namespace

Triple SpectrumToXYZ(const double* spectrum, int index) noexcept
{
    const IlluminantWeights& weights = WeightsOf(index);
    // One pass with three independent sums, each in wavelength order.
    double x = 0.0, y = 0.0, z = 0.0;
    for (int i = 0; i < kSpectrumLength; ++i) {
        x += spectrum[i] * weights.row[kRowX][i];
        y += spectrum[i] * weights.row[kRowY][i];
        z += spectrum[i] * weights.row[kRowZ][i];
    }
    return {x / kWeightScale, y / kWeightScale, z / kWeightScale};
}

Chromaticity XYZToChromaticity(double X, double Y, double Z) noexcept
{
    const double sum = X + Y + Z;
    if (sum == 0.0)
        return {0.0, 0.0};
    return {X / sum, Y / sum};
}

Triple XYZToLab(double X, double Y, double Z, int index) noexcept
{
    if (!IsValidIlluminant(index))
        return {0.0, 0.0, 0.0};
    const RelativeXYZ r = relativeToWhite(X, Y, Z, WhitePoint(index));
    const double fy = labFunction(r.y);
    return {lab::lightness(r.y, fy), 500.0 * (labFunction(r.x) - fy), 200.0 * (fy - labFunction(r.z))};
}

Triple XYZToHunterLab(double X, double Y, double Z, int index) noexcept
{
    if (!IsValidIlluminant(index))
        return {0.0, 0.0, 0.0};
    const IlluminantWhite& white = WhitePoint(index);
    const RelativeXYZ r = relativeToWhite(X, Y, Z, white);
    const double root = std::sqrt(r.y);
    if (root == 0.0)
        return {0.0, 0.0, 0.0};
    return {100.0 * root, white.Ka * (r.x - r.y) / root, white.Kb * (r.y - r.z) / root};
}

Triple SpectrumToLab(const double* spectrum, int index, bool hunter) noexcept
{
    const Triple xyz = SpectrumToXYZ(spectrum, index);
    return hunter ? XYZToHunterLab(xyz[0], xyz[1], xyz[2], index) : XYZToLab(xyz[0], xyz[1], xyz[2], index);
}

LabCh LabToLabCh(const Triple& lab) noexcept
{
    const double a = lab[1] == 0.0 ? kHueForZeroA : lab[1];
    const double b = lab[2];
    double hue = std::atan2(b, a) * kDegreesPerRadian;
    if (hue < 0.0)
        hue += 360.0;
    return {lab[0], a, b, std::sqrt(a * a + b * b), hue};
}

LabCh SpectrumToLabCh(const double* spectrum, int index, bool hunter) noexcept
{
    return LabToLabCh(SpectrumToLab(spectrum, index, hunter));
}

double DeltaE(const double* lab1, const double* lab2) noexcept
{
    const double dL = lab1[0] - lab2[0];
    const double da = lab1[1] - lab2[1];
    const double db = lab1[2] - lab2[2];
    return std::sqrt(dL * dL + da * da + db * db);
}

double DeltaESum(const double* spectrum1, const double* spectrum2, int index1, int index2) noexcept
{
    const Triple first1 = SpectrumToLab(spectrum1, index1, false);
    const Triple first2 = SpectrumToLab(spectrum2, index1, false);
    const Triple second1 = SpectrumToLab(spectrum1, index2, false);
    const Triple second2 = SpectrumToLab(spectrum2, index2, false);
    return DeltaE(first1.data(), first2.data()) + DeltaE(second1.data(), second2.data());
}

double MetamerismIndex(const double* standard, const double* sample, int index1, int index2) noexcept
{
    const Triple d1 = labDifference(standard, sample, index1);
    const Triple d2 = labDifference(standard, sample, index2);
    return DeltaE(d1.data(), d2.data());
}

}  // namespace vireo2::colour
