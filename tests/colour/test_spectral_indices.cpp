#include <gtest/gtest.h>

#include "colour/spectral_indices.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

// Expected yellowness values computed separately from the C/2 table (Python).
TEST(SpectralIndices, YellownessUnderC2)
{
    const Spectrum yellow = withBand(flatSpectrum(85.0), 0, 7, 40.0);
    const Spectrum white = flatSpectrum(100.0);
    const Spectrum black = flatSpectrum(0.0);
    EXPECT_NEAR(YellownessIndexE313(yellow.data()), 43.0890603511, 1e-8);
    EXPECT_NEAR(YellownessIndexD1925(yellow.data()), 43.1191710054, 1e-8);
    EXPECT_NEAR(YellownessIndexE313(white.data()), -0.1426584266, 1e-8);
    EXPECT_NEAR(YellownessIndexD1925(white.data()), -0.0913413134, 1e-8);
    EXPECT_EQ(YellownessIndexE313(black.data()), 0.0);
    EXPECT_EQ(YellownessIndexD1925(black.data()), 0.0);
}

// R457 weighs 400..520 nm; the 20 nm luminance sum the even positions, with
// single-precision weights and without dividing.
TEST(SpectralIndices, BrightnessAndLuminanceWeightTheirPositions)
{
    const Spectrum black = flatSpectrum(0.0);
    const Spectrum white = flatSpectrum(100.0);
    EXPECT_NEAR(BrightnessR457(white.data()), 100.007, 1e-9);
    EXPECT_NEAR(BrightnessR457(withBand(black, 6, 6, 100.0).data()), 21.028, 1e-12);
    EXPECT_NEAR(BrightnessR457(withBand(black, 12, 12, 100.0).data()), 0.004, 1e-12);
    EXPECT_EQ(BrightnessR457(withBand(black, 13, 13, 100.0).data()), 0.0);
    EXPECT_NEAR(LuminanceWeightedSum20nm(white.data()), 9999.9, 0.01);  // the weights add up to 99.999
    EXPECT_EQ(LuminanceWeightedSum20nm(withBand(black, 14, 14, 100.0).data()), 100.0 * double(17.355f));
    EXPECT_EQ(LuminanceWeightedSum20nm(withBand(black, 30, 30, 1.0).data()), double(0.047f));
    EXPECT_EQ(LuminanceWeightedSum20nm(withBand(black, 15, 15, 100.0).data()), 0.0);
}
