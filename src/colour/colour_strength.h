#pragma once

namespace vireo2::colour {

// Colour strength of a sample relative to a standard from Kubelka-Munk
// K/S = (1 - r)^2 / (2 r), r the reflectance as a fraction, raised to a floor
// so that a reflectance of 0 never divides by zero. Results are percentages
// (100 = as strong as the standard) capped at 1,000. When the standard has no
// absorption at all (K/S = 0) the result is 100 if the sample has none either,
// otherwise the cap.

// Sum of K/S over 420..680 nm (positions 2..28), floor 0.04.
double StrengthSum(const double* standard, const double* sample) noexcept;

// K/S at one position 0..30, floor 0.0001; 0 for a position outside 0..30.
double StrengthAt(const double* standard, const double* sample, int position) noexcept;

// K/S of the tristimulus value (D65/10) in which the standard absorbs most:
// the smallest of its X, Y, Z (ties keep X before Y before Z), floor 0.0001.
double StrengthMaxAbsorption(const double* standard, const double* sample) noexcept;

// (S2 / S1 - S3 / 3,100) x 100, Sn the sum of the 31 values of spectrum n;
// 0 when S1 is 0.
double ApparentStrength(const double* spectrum1, const double* spectrum2, const double* spectrum3) noexcept;

}  // namespace vireo2::colour
