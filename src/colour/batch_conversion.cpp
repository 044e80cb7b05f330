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

// The four-double vectors are passed only inside this file, between
// functions inlined into the same loop, so the ABI note about AVX vectors
// does not concern them.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace vireo2::colour {

namespace {

double labFunction(double t) noexcept
{
    return lab::f(t, fastCubeRoot);
}

struct Sums {
    double x, y, z;
};

// Four doubles: one AVX register, or two SSE2 registers where there is no
// AVX; the lanes compute the same either way.
typedef double Quad __attribute__((vector_size(32)));

// Inlined always, like every function that takes or returns a Quad: an
// out-of-line copy (an unoptimised build) would be compiled for one target
// and called from the AVX2 build, which passes such vectors differently.
inline __attribute__((always_inline)) Quad loadQuad(const double* values) noexcept
{
    Quad quad;
    std::memcpy(&quad, values, sizeof quad);
    return quad;
}

// The three weighted sums of one spectrum. Four partial sums per channel (one
// per lane) keep the multiplications and additions independent of each
// other, so they run side by side instead of waiting on one long chain of
// additions; the order of the additions changes, the sums by a few units in
// the last place.
inline __attribute__((always_inline)) Sums weightedSums(const double* s, const double* wx, const double* wy,
                                                        const double* wz) noexcept
{
    Quad x{}, y{}, z{};
    int i = 0;
    for (; i + 4 <= kSpectrumLength; i += 4) {
        const Quad values = loadQuad(s + i);
        x += values * loadQuad(wx + i);
        y += values * loadQuad(wy + i);
        z += values * loadQuad(wz + i);
    }
    Sums sums{(x[0] + x[1]) + (x[2] + x[3]), (y[0] + y[1]) + (y[2] + y[3]), (z[0] + z[1]) + (z[2] + z[3])};
    for (; i < kSpectrumLength; ++i) {
        sums.x += s[i] * wx[i];
        sums.y += s[i] * wy[i];
        sums.z += s[i] * wz[i];
    }
    return sums;
}

typedef std::uint64_t Bits __attribute__((vector_size(32)));

// The cube root in two stages: dividing the exponent by three in the bit
// pattern lands within a few percent of the root, and each Halley step then
// triples the correct digits (three steps). `Value` is a double (with `Raw` its 64 bits) or
// a vector of them: every lane computes exactly what the scalar form does.
template <typename Value, typename Raw>
inline __attribute__((always_inline)) Value halleyCubeRoot(Value x) noexcept
{
    Raw bits;
    std::memcpy(&bits, &x, sizeof bits);
    bits = bits / 3 + 0x2A9F7893782DA1CEull;
    Value y;
    std::memcpy(&y, &bits, sizeof y);
    for (int step = 0; step < 3; ++step) {
        const Value y3 = y * y * y;
        y = y * (y3 + 2.0 * x) / (2.0 * y3 + x);
    }
    return y;
}

constexpr double kInlineLimit = 1e300;
constexpr int kLanes = 4;

// lab::f on every lane, with fastCubeRoot's values.
inline __attribute__((always_inline)) Quad labFunctions(Quad t) noexcept
{
    const auto above = t > lab::kThreshold;
    // fastCubeRoot's inline range holds every lane above the threshold.
    const Quad root = halleyCubeRoot<Quad, Bits>(above ? t : Quad{1.0, 1.0, 1.0, 1.0});
    return above ? root : lab::kSlope * t + lab::kOffset;
}

// One illuminant's weights and white point, applied to spectra.
class Conversion {
public:
    explicit Conversion(int index)
        : weights_(WeightsOf(index)),
          toX_(1.0 / (lab::kWeightScale * WhitePoint(index).Xn)),
          toY_(1.0 / (lab::kWeightScale * WhitePoint(index).Yn)),
          toZ_(1.0 / (lab::kWeightScale * WhitePoint(index).Zn))
    {
    }

    // False when a sum is not finite: NaN or infinity anywhere in the
    // spectrum reaches the sums (also through a zero weight: inf * 0 is NaN).
    __attribute__((always_inline)) bool convertOne(const double* spectrum, double* out) const noexcept
    {
        const Sums sums = sumsOf(spectrum);
        if (!std::isfinite(sums.x + sums.y + sums.z))
            return false;
        const double x = sums.x * toX_, y = sums.y * toY_, z = sums.z * toZ_;
        const double fy = labFunction(y);
        out[0] = lab::lightness(y, fy);
        out[1] = 500.0 * (labFunction(x) - fy);
        out[2] = 200.0 * (fy - labFunction(z));
        return true;
    }

    // Four spectra at once: their twelve cube roots share the vector
    // divisions and run side by side.
    __attribute__((always_inline)) bool convertFour(const double* spectra, double* out) const noexcept
    {
        Quad x, y, z;
        for (int lane = 0; lane < kLanes; ++lane) {
            const Sums sums = sumsOf(spectra + lane * kSpectrumLength);
            if (!std::isfinite(sums.x + sums.y + sums.z))
                return false;
            x[lane] = sums.x * toX_;
            y[lane] = sums.y * toY_;
            z[lane] = sums.z * toZ_;
        }
        for (int lane = 0; lane < kLanes; ++lane) {
            if (x[lane] >= kInlineLimit || y[lane] >= kInlineLimit || z[lane] >= kInlineLimit) {
                for (int k = 0; k < kLanes; ++k)
                    convertOne(spectra + k * kSpectrumLength, out + 3 * k);
                return true;
            }
        }
        const Quad fx = labFunctions(x), fy = labFunctions(y), fz = labFunctions(z);
        for (int lane = 0; lane < kLanes; ++lane) {
            double* lab = out + 3 * lane;
            lab[0] = lab::lightness(y[lane], fy[lane]);
            lab[1] = 500.0 * (fx[lane] - fy[lane]);
            lab[2] = 200.0 * (fy[lane] - fz[lane]);
        }
        return true;
    }

private:
    __attribute__((always_inline)) Sums sumsOf(const double* spectrum) const noexcept
    {
        return weightedSums(spectrum, weights_.row[kRowX], weights_.row[kRowY], weights_.row[kRowZ]);
    }

    const IlluminantWeights& weights_;
    const double toX_, toY_, toZ_;
};

} // namespace

double fastCubeRoot(double x) noexcept
{
    if (!(x > 0.0) || !(x < kInlineLimit) || x < 1e-300)
        return std::cbrt(x);
    return halleyCubeRoot<double, std::uint64_t>(x);
}

namespace {

// The whole batch; built below twice, for AVX2 and for any x86-64.
inline __attribute__((always_inline)) bool convertAll(const double* spectra, std::size_t count, int index,
                                                      double* labValues) noexcept
{
    if (!IsValidIlluminant(index))
        return false;
    const Conversion conversion(index);
    bool finite = true;
    std::size_t k = 0;
    for (; finite && k + kLanes <= count; k += kLanes)
        finite = conversion.convertFour(spectra + k * kSpectrumLength, labValues + 3 * k);
    for (; finite && k < count; ++k)
        finite = conversion.convertOne(spectra + k * kSpectrumLength, labValues + 3 * k);
    if (!finite)
        std::fill(labValues, labValues + 3 * count, std::numeric_limits<double>::quiet_NaN());
    return finite;
}

__attribute__((target("avx2"))) bool convertAllAvx2(const double* spectra, std::size_t count, int index,
                                                    double* labValues) noexcept
{
    return convertAll(spectra, count, index, labValues);
}

bool convertAllPortable(const double* spectra, std::size_t count, int index, double* labValues) noexcept
{
    return convertAll(spectra, count, index, labValues);
}

bool hasAvx2() noexcept
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

} // namespace

// The AVX2 build where the processor has it; both give the same values. (A
// plain check at the first call rather than an ifunc resolver, which would
// run before the thread sanitizer's runtime is ready.)
bool SpectraToLab(const double* spectra, std::size_t count, int index, double* labValues) noexcept
{
    static const bool avx2 = hasAvx2();
    return avx2 ? convertAllAvx2(spectra, count, index, labValues)
                : convertAllPortable(spectra, count, index, labValues);
}

} // namespace vireo2::colour
