#include "colour/spectral_indices.h"

#include "colour/colorimetry.h"

namespace vireo2::colour {

namespace {

constexpr int kBrightnessPositions = 13;
const double kBrightnessWeights[kBrightnessPositions] = {
    0.225, 1.49, 3.923, 7.451, 12.333, 17.591, 21.028, 18.665, 11.402, 4.569, 1.264, 0.062, 0.004,
};

constexpr int kLuminancePositions = 16;
const float kLuminanceWeights[kLuminancePositions] = {
    0.023f, 0.33f, 1.106f, 2.62f, 4.938f, 8.668f, 13.846f, 17.355f,
    17.157f, 14.148f, 10.105f, 6.02f, 2.587f, 0.827f, 0.222f, 0.047f,
};

}  // namespace

double YellownessIndexE313(const double* spectrum) noexcept
{
    const Triple xyz = SpectrumToXYZ(spectrum, kCObserver2);
    if (xyz[1] == 0.0)
        return 0.0;
    return 100.0 - 84.7 * xyz[2] / xyz[1];
}

double YellownessIndexD1925(const double* spectrum) noexcept
{
    const Triple xyz = SpectrumToXYZ(spectrum, kCObserver2);
    if (xyz[1] == 0.0)
        return 0.0;
    return (127.5 * xyz[0] - 105.84 * xyz[2]) / xyz[1];
}

double BrightnessR457(const double* spectrum) noexcept
{
    double sum = 0.0;
    for (int i = 0; i < kBrightnessPositions; ++i)
        sum += spectrum[i] * kBrightnessWeights[i];
    return sum / 100.0;
}

double LuminanceWeightedSum20nm(const double* spectrum) noexcept
{
    double sum = 0.0;
    for (int i = 0; i < kLuminancePositions; ++i)
        sum += spectrum[2 * i] * static_cast<double>(kLuminanceWeights[i]);
    return sum;
}

}  // namespace vireo2::colour
