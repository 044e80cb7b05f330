#pragma once

namespace vireo2::colour {

// Reflectance spectra have 31 values, in percent, at 400, 410, ..., 700 nm.
constexpr int kSpectrumLength = 31;
constexpr int kFirstWavelengthNm = 400;
constexpr int kWavelengthStepNm = 10;

// Illuminant/observer combinations 0..17: even indices the 2 degree observer,
// odd ones the 10 degree observer of the same illuminant. The tables hold two
// more, unused and all zero, entries.
constexpr int kIlluminantCount = 18;
constexpr int kWeightTableEntries = 20;

// Index of D65/10 degrees, the combination the strength at maximum absorption uses.
constexpr int kD65Observer10 = 7;
// Index of C/2 degrees, the combination of the yellowness indices.
constexpr int kCObserver2 = 2;

// White point of one combination and its Hunter coefficients.
struct IlluminantWhite {
    double Xn;
    double Yn;
    double Zn;
    double Ka;
    double Kb;
};

bool IsValidIlluminant(int index) noexcept;

// White point and Hunter coefficients; all zero for an index outside 0..17.
const IlluminantWhite& WhitePoint(int index) noexcept;

// Short name such as "D65/10"; nullptr for an index outside 0..17.
// Indices 14 and 15 are CIE F12 (3000 K triband fluorescent).
const char* IlluminantName(int index) noexcept;

}  // namespace vireo2::colour
