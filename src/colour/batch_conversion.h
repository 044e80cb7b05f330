#pragma once

#include <cstddef>

namespace vireo2::colour {

// Converts `count` spectra, 31 reflectances in percent each, stored one
// after the other, to CIE L*a*b* under the illuminant/observer `index`:
// lab[3*k .. 3*k+2] for spectrum k. Gives SpectrumToLab's values to within
// 1e-12: the weighted sums run as four partial sums per channel (on SSE2
// pairs), the white point's reciprocal replaces its division, and the cube
// root is computed inline (fastCubeRoot) instead of by the C library. (A ratio to the white within
// rounding of the 0.008856 threshold may take the other branch of the L*a*b*
// function, which is continuous there to 1e-6.) Nothing is written for an
// invalid index; returns false then. A spectrum holding NaN or infinity
// fails the whole batch: false, and every output is NaN, so no value of a
// failed batch can pass for a colour.
bool SpectraToLab(const double* spectra, std::size_t count, int index, double* lab) noexcept;

// The cube root of a positive finite x to full double precision (three Halley
// steps from a bit-level first guess); other values go to std::cbrt.
double fastCubeRoot(double x) noexcept;

} // namespace vireo2::colour
