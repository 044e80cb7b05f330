#include "colour/batch_conversion.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <cstdint>
#include <cstring>

#include "colour/colorimetry.h"
#include "colour/illuminants.h"
#include "colour/lab_function.h"
#include "colour/weight_reader.h"

namespace vireo2::colour {

namespace {

double labFunction(double t) noexcept
{
    return lab::f(t, fastCubeRoot);
}

} // namespace

double fastCubeRoot(double x) noexcept
{
    if (!(x > 0.0) || !(x < 1e300) || x < 1e-300)
        return std::cbrt(x);
    // Dividing the exponent by three in the bit pattern lands within a few
    // percent of the root; each Halley step then triples the correct digits.
    std::uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    bits = bits / 3 + 0x2A9F7893782DA1CEull;
    double y;
    std::memcpy(&y, &bits, sizeof y);
    for (int step = 0; step < 3; ++step) {
        const double y3 = y * y * y;
        y = y * (y3 + 2.0 * x) / (2.0 * y3 + x);
    }
    return y;
}

bool SpectraToLab(const double* spectra, std::size_t count, int index, double* labValues) noexcept
{
    if (!IsValidIlluminant(index))
        return false;
    const IlluminantWeights& weights = WeightsOf(index);
    const IlluminantWhite& white = WhitePoint(index);
    const double* wx = weights.row[kRowX];
    const double* wy = weights.row[kRowY];
    const double* wz = weights.row[kRowZ];
    const double toX = 1.0 / (lab::kWeightScale * white.Xn);
    const double toY = 1.0 / (lab::kWeightScale * white.Yn);
    const double toZ = 1.0 / (lab::kWeightScale * white.Zn);
    for (std::size_t k = 0; k < count; ++k) {
        const double* s = spectra + k * kSpectrumLength;
        double x = 0.0, y = 0.0, z = 0.0;
        for (int i = 0; i < kSpectrumLength; ++i) {
            x += s[i] * wx[i];
            y += s[i] * wy[i];
            z += s[i] * wz[i];
        }
        // NaN or infinity anywhere in the spectrum reaches the sums (also
        // through a zero weight: inf * 0 is NaN).
        if (!std::isfinite(x + y + z)) {
            std::fill(labValues, labValues + 3 * count, std::numeric_limits<double>::quiet_NaN());
            return false;
        }
        x *= toX;
        y *= toY;
        z *= toZ;
        const double fy = labFunction(y);
        double* out = labValues + 3 * k;
        out[0] = lab::lightness(y, fy);
        out[1] = 500.0 * (labFunction(x) - fy);
        out[2] = 200.0 * (fy - labFunction(z));
    }
    return true;
}

} // namespace vireo2::colour
