#include <gtest/gtest.h>

#include "colour/colorimetry.h"
#include "colour/spectral_indices.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

TEST(YellownessIndices, FormulasUnderC2)
{
    Spectrum yellow = flatSpectrum(85.0);
    for (int i = 0; i < 8; ++i)
        yellow[i] = 40.0;
    const Triple xyz = SpectrumToXYZ(yellow.data(), 2);
    EXPECT_NEAR(YellownessIndexE313(yellow.data()), 100.0 - 84.7 * xyz[2] / xyz[1], 1e-9);
    EXPECT_NEAR(YellownessIndexD1925(yellow.data()), (127.5 * xyz[0] - 105.84 * xyz[2]) / xyz[1], 1e-9);
    EXPECT_GT(YellownessIndexE313(yellow.data()), 20.0);
    EXPECT_GT(YellownessIndexD1925(yellow.data()), 20.0);
}

TEST(YellownessIndices, NearZeroForWhiteAndZeroForBlack)
{
    const Spectrum white = flatSpectrum(100.0);
    EXPECT_NEAR(YellownessIndexE313(white.data()), 100.0 - 84.7 * 118.232 / 100.0, 0.02);
    EXPECT_NEAR(YellownessIndexD1925(white.data()), (127.5 * 98.074 - 105.84 * 118.232) / 100.0, 0.02);
    const Spectrum black = flatSpectrum(0.0);
    EXPECT_EQ(YellownessIndexE313(black.data()), 0.0);
    EXPECT_EQ(YellownessIndexD1925(black.data()), 0.0);
}

TEST(BrightnessR457, WeightsTheBlueEndOnly)
{
    const Spectrum white = flatSpectrum(100.0);
    EXPECT_NEAR(BrightnessR457(white.data()), 100.007, 1e-9);
    const Spectrum at460 = spikeSpectrum(6);
    EXPECT_NEAR(BrightnessR457(at460.data()), 21.028, 1e-12);
    const Spectrum at520 = spikeSpectrum(12);
    EXPECT_NEAR(BrightnessR457(at520.data()), 0.004, 1e-12);
    const Spectrum at530 = spikeSpectrum(13);
    EXPECT_EQ(BrightnessR457(at530.data()), 0.0);
}

TEST(LuminanceWeightedSum20nm, EvenPositionsWithSinglePrecisionWeights)
{
    const Spectrum at540 = spikeSpectrum(14);
    EXPECT_EQ(LuminanceWeightedSum20nm(at540.data()), 100.0 * static_cast<double>(17.355f));
    const Spectrum at700 = spikeSpectrum(30, 1.0);
    EXPECT_EQ(LuminanceWeightedSum20nm(at700.data()), static_cast<double>(0.047f));
    const Spectrum at550 = spikeSpectrum(15);
    EXPECT_EQ(LuminanceWeightedSum20nm(at550.data()), 0.0);
    const Spectrum white = flatSpectrum(100.0);
    // The listed weights add up to 99.999.
    EXPECT_NEAR(LuminanceWeightedSum20nm(white.data()), 9999.9, 0.01);
}
