#pragma once

namespace vireo2::colour {

// Colour-difference formulas on CIE L*a*b* triples, alongside the CIE 1976
// DeltaE of colorimetry.h.

// CIEDE2000 (symmetric), with the parametric factors kL, kC, kH.
double DeltaE2000(const double* lab1, const double* lab2, double kL = 1.0, double kC = 1.0,
                  double kH = 1.0) noexcept;

// Application constants of CIE94.
enum class Cie94Application { GraphicArts, Textiles };

// CIE94 of a sample against a reference (not symmetric: the weights use the
// reference's chroma). Graphic arts: kL 1, K1 0.045, K2 0.015; textiles: kL 2,
// K1 0.048, K2 0.014.
double DeltaE94(const double* reference, const double* sample,
                Cie94Application application = Cie94Application::GraphicArts) noexcept;

// CMC(l:c) of a sample against a reference (not symmetric); 2:1 is the usual
// acceptability setting, 1:1 perceptibility.
double DeltaECMC(const double* reference, const double* sample, double lightnessWeight = 2.0,
                 double chromaWeight = 1.0) noexcept;

}  // namespace vireo2::colour
