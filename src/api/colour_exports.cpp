// C exports of the colorimetry. Every function checks its pointers and index
// before touching anything, writes its outputs only on success, and keeps
// exceptions inside (the colour functions are noexcept; the guard stays so a
// future change cannot let one cross the C boundary).

#include "vireo2_colour.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <cstring>

#include "colour/batch_conversion.h"
#include "colour/colorimetry.h"
#include "colour/colour_difference.h"
#include "colour/colour_strength.h"
#include "colour/illuminants.h"

namespace {

using namespace vireo2::colour;

template <typename Body>
int guarded(Body body) noexcept
{
    try {
        return body() ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

template <typename Array>
void copyOut(const Array& values, double* out) noexcept
{
    std::copy(values.begin(), values.end(), out);
}

// Inputs: a value that is not finite has no colour, and would come out as a
// NaN presented as a result.
constexpr int kSpectrum = 31;
constexpr int kTriple = 3;

bool finite(const double* values, int count) noexcept
{
    return std::all_of(values, values + count, [](double v) { return std::isfinite(v); });
}

// Outputs: finite inputs far outside any reflectance (1e300) can still
// overflow; such a result is refused, not handed out.
template <typename Array>
bool finite(const Array& values) noexcept
{
    return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

template <typename Array>
bool copyOutFinite(const Array& values, double* out) noexcept
{
    if (!finite(values))
        return false;
    copyOut(values, out);
    return true;
}

bool finiteValue(double value, double* out) noexcept
{
    if (!std::isfinite(value))
        return false;
    *out = value;
    return true;
}

}  // namespace

extern "C" {

VIREO2_COLOUR_API int Vireo2_SpectrumToXYZ(const double spectrum[31], int index, double xyz[3])
{
    return guarded([&] {
        if (!spectrum || !xyz || !IsValidIlluminant(index) || !finite(spectrum, kSpectrum))
            return false;
        return copyOutFinite(SpectrumToXYZ(spectrum, index), xyz);
    });
}

VIREO2_COLOUR_API int Vireo2_SpectrumToLab(const double spectrum[31], int index, int hunter, double lab[3])
{
    return guarded([&] {
        if (!spectrum || !lab || !IsValidIlluminant(index) || !finite(spectrum, kSpectrum))
            return false;
        return copyOutFinite(SpectrumToLab(spectrum, index, hunter != 0), lab);
    });
}

VIREO2_COLOUR_API int Vireo2_SpectrumToLabCh(const double spectrum[31], int index, int hunter, double lch[5])
{
    return guarded([&] {
        if (!spectrum || !lch || !IsValidIlluminant(index) || !finite(spectrum, kSpectrum))
            return false;
        return copyOutFinite(SpectrumToLabCh(spectrum, index, hunter != 0), lch);
    });
}

VIREO2_COLOUR_API int Vireo2_SpectraToLab(const double* spectra, int count, int index, double* lab)
{
    return guarded([&] {
        if (count < 0 || !IsValidIlluminant(index) || (count > 0 && (!spectra || !lab)))
            return false;
        return SpectraToLab(spectra, static_cast<std::size_t>(count), index, lab);
    });
}

VIREO2_COLOUR_API int Vireo2_XYZToLab(const double xyz[3], int index, double lab[3])
{
    return guarded([&] {
        if (!xyz || !lab || !IsValidIlluminant(index) || !finite(xyz, kTriple))
            return false;
        return copyOutFinite(XYZToLab(xyz[0], xyz[1], xyz[2], index), lab);
    });
}

VIREO2_COLOUR_API int Vireo2_DeltaE76(const double lab1[3], const double lab2[3], double* de)
{
    return guarded([&] {
        if (!lab1 || !lab2 || !de || !finite(lab1, kTriple) || !finite(lab2, kTriple))
            return false;
        return finiteValue(DeltaE(lab1, lab2), de);
    });
}

VIREO2_COLOUR_API int Vireo2_DeltaE2000(const double lab1[3], const double lab2[3], double* de)
{
    return guarded([&] {
        if (!lab1 || !lab2 || !de || !finite(lab1, kTriple) || !finite(lab2, kTriple))
            return false;
        return finiteValue(DeltaE2000(lab1, lab2), de);
    });
}

VIREO2_COLOUR_API int Vireo2_DeltaE94(const double reference[3], const double sample[3], int textiles,
                                      double* de)
{
    return guarded([&] {
        if (!reference || !sample || !de || !finite(reference, kTriple) || !finite(sample, kTriple))
            return false;
        return finiteValue(
            DeltaE94(reference, sample, textiles ? Cie94Application::Textiles : Cie94Application::GraphicArts), de);
    });
}

VIREO2_COLOUR_API int Vireo2_DeltaECMC(const double reference[3], const double sample[3], double l, double c,
                                       double* de)
{
    return guarded([&] {
        if (!reference || !sample || !de || !(l > 0.0) || !(c > 0.0) || !std::isfinite(l) || !std::isfinite(c) ||
            !finite(reference, kTriple) || !finite(sample, kTriple))
            return false;
        return finiteValue(DeltaECMC(reference, sample, l, c), de);
    });
}

VIREO2_COLOUR_API int Vireo2_MetamerismIndex(const double standard[31], const double sample[31], int index1,
                                             int index2, double* mi)
{
    return guarded([&] {
        if (!standard || !sample || !mi || !IsValidIlluminant(index1) || !IsValidIlluminant(index2) ||
            !finite(standard, kSpectrum) || !finite(sample, kSpectrum))
            return false;
        return finiteValue(MetamerismIndex(standard, sample, index1, index2), mi);
    });
}

VIREO2_COLOUR_API int Vireo2_StrengthSum(const double standard[31], const double sample[31], double* strength)
{
    return guarded([&] {
        if (!standard || !sample || !strength || !finite(standard, kSpectrum) || !finite(sample, kSpectrum))
            return false;
        return finiteValue(StrengthSum(standard, sample), strength);
    });
}

VIREO2_COLOUR_API int Vireo2_IlluminantName(int index, char* buffer, int size)
{
    return guarded([&] {
        const char* name = IlluminantName(index);
        if (!buffer || !name)
            return false;
        const std::size_t length = std::strlen(name);
        if (size <= 0 || static_cast<std::size_t>(size) <= length)
            return false;
        std::memcpy(buffer, name, length + 1);
        return true;
    });
}

}  // extern "C"
