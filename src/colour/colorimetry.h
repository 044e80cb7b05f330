#pragma once

#include <array>

#include "colour/illuminants.h"

namespace vireo2::colour {

// Spectra are 31 reflectances in percent at 400..700 nm (kSpectrumLength).
// Illuminant/observer indices are 0..17 (see illuminants.h); an index outside
// that range gives all-zero results instead of reading past the tables.
using Triple = std::array<double, 3>;
using Chromaticity = std::array<double, 2>;
using LabCh = std::array<double, 5>;

// X = sum R(i) * xbar(i) / 100,000, likewise Y and Z, with the weights of the index.
Triple SpectrumToXYZ(const double* spectrum, int index) noexcept;

// x = X / (X + Y + Z), y = Y / (X + Y + Z); both 0 when the sum is 0.
Chromaticity XYZToChromaticity(double X, double Y, double Z) noexcept;

// CIE 1976 L*, a*, b* against the white point of the index.
Triple XYZToLab(double X, double Y, double Z, int index) noexcept;

// Hunter L, a, b against the white point and Ka, Kb of the index; all 0 for Y = 0.
Triple XYZToHunterLab(double X, double Y, double Z, int index) noexcept;

// CIE L*a*b* (hunter false) or Hunter Lab (hunter true) of a spectrum.
Triple SpectrumToLab(const double* spectrum, int index, bool hunter) noexcept;

// L, a, b, C, h (degrees, 0..360) of a Lab triple. An a of exactly 0 is
// returned as 0.000001 so that the hue is always defined.
LabCh LabToLabCh(const Triple& lab) noexcept;

// LabToLabCh of SpectrumToLab.
LabCh SpectrumToLabCh(const double* spectrum, int index, bool hunter) noexcept;

// CIE 1976 colour difference: Euclidean distance of two L*a*b* triples.
double DeltaE(const double* lab1, const double* lab2) noexcept;

// DeltaE of two spectra under index1 plus their DeltaE under index2.
double DeltaESum(const double* spectrum1, const double* spectrum2, int index1, int index2) noexcept;

// How much the L*a*b* difference sample - standard changes from index1 to
// index2: the length of (d1 - d2).
double MetamerismIndex(const double* standard, const double* sample, int index1, int index2) noexcept;

}  // namespace vireo2::colour
