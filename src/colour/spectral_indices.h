#pragma once

namespace vireo2::colour {

// Single-number indices of a reflectance spectrum (31 values in percent).

// Yellowness index 100 - 84.7 Z / Y (ASTM E313-73 form), X, Y, Z under C/2;
// 0 when Y is 0.
double YellownessIndexE313(const double* spectrum) noexcept;

// Yellowness index (127.5 X - 105.84 Z) / Y (ASTM D1925 form), X, Y, Z under
// C/2; 0 when Y is 0.
double YellownessIndexD1925(const double* spectrum) noexcept;

// Blue reflectance factor R457 (ISO brightness): the spectrum over 400..520 nm
// weighted by the 457 nm brightness function (weights summing to 100),
// divided by 100. A 100 % white gives 100.007.
double BrightnessR457(const double* spectrum) noexcept;

// Sum of the spectrum at 400, 420, ..., 700 nm weighted by the D65/10 luminous
// efficiency at 20 nm steps (single-precision weights summing to 100), not
// divided: a 100 % white gives 10,000, i.e. 100 x the luminous reflectance.
double LuminanceWeightedSum20nm(const double* spectrum) noexcept;

}  // namespace vireo2::colour
