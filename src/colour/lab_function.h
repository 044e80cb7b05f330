#pragma once

namespace vireo2::colour::lab {

// The CIE 1976 L*a*b* function and its constants, shared by the single and
// the batch conversion so both compute the same values.
constexpr double kWeightScale = 100000.0; // the stored weighting tables' scale
constexpr double kThreshold = 0.008856;
constexpr double kSlope = 7.787;
constexpr double kOffset = 0.137931034;
constexpr double kLightnessSlope = 903.292;

// f(t) of the L*a*b* formulas with the cube root given.
template <typename CubeRoot>
double f(double t, CubeRoot cubeRoot) noexcept
{
    return t > kThreshold ? cubeRoot(t) : kSlope * t + kOffset;
}

// L* from the Y ratio and its f value.
inline double lightness(double y, double fy) noexcept
{
    return y > kThreshold ? 116.0 * fy - 16.0 : kLightnessSlope * y;
}

} // namespace vireo2::colour::lab
