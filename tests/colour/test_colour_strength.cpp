#include <cmath>

#include <gtest/gtest.h>

#include "colour/colorimetry.h"
#include "colour/colour_strength.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

namespace {

double ks(double r)
{
    return (1.0 - r) * (1.0 - r) / (2.0 * r);
}

}  // namespace

TEST(StrengthSum, HandComputedRatioOfKubelkaMunkSums)
{
    const Spectrum standard = flatSpectrum(50.0);  // K/S 0.25
    const Spectrum sample = flatSpectrum(40.0);    // K/S 0.45
    EXPECT_NEAR(StrengthSum(standard.data(), sample.data()), 180.0, 1e-9);
    EXPECT_NEAR(StrengthSum(standard.data(), standard.data()), 100.0, 1e-12);
}

TEST(StrengthSum, OnlyPositions2To28Count)
{
    const Spectrum standard = flatSpectrum(50.0);
    Spectrum sample = standard;
    for (int position : {0, 1, 29, 30})
        sample[position] = 5.0;
    EXPECT_NEAR(StrengthSum(standard.data(), sample.data()), 100.0, 1e-12);
    sample[2] = 40.0;
    EXPECT_NEAR(StrengthSum(standard.data(), sample.data()), (26 * 0.25 + 0.45) / (27 * 0.25) * 100.0, 1e-9);
    sample[2] = 50.0;
    sample[28] = 40.0;
    EXPECT_NEAR(StrengthSum(standard.data(), sample.data()), (26 * 0.25 + 0.45) / (27 * 0.25) * 100.0, 1e-9);
}

TEST(StrengthSum, FloorsAtFourPercentAndCapsAt1000)
{
    // 0 % and 2 % both count as 4 %.
    const Spectrum fourPercent = flatSpectrum(4.0);
    const Spectrum zero = flatSpectrum(0.0);
    const Spectrum twoPercent = flatSpectrum(2.0);
    EXPECT_NEAR(StrengthSum(fourPercent.data(), zero.data()), 100.0, 1e-12);
    EXPECT_NEAR(StrengthSum(twoPercent.data(), zero.data()), 100.0, 1e-12);
    // Black against 50 %: 11.52 / 0.25 = 4608 % -> 1000.
    const Spectrum half = flatSpectrum(50.0);
    EXPECT_EQ(StrengthSum(half.data(), zero.data()), 1000.0);
    EXPECT_NEAR(StrengthSum(zero.data(), half.data()), 0.25 / ks(0.04) * 100.0, 1e-9);
}

TEST(StrengthSum, StandardWithoutAbsorptionGivesBoundedResults)
{
    const Spectrum white = flatSpectrum(100.0);
    const Spectrum grey = flatSpectrum(50.0);
    EXPECT_EQ(StrengthSum(white.data(), white.data()), 100.0);
    EXPECT_EQ(StrengthSum(white.data(), grey.data()), 1000.0);
}

TEST(StrengthAt, OnePositionWithTheFineFloor)
{
    Spectrum standard = flatSpectrum(50.0);
    Spectrum sample = flatSpectrum(50.0);
    sample[10] = 40.0;
    EXPECT_NEAR(StrengthAt(standard.data(), sample.data(), 10), 180.0, 1e-9);
    EXPECT_NEAR(StrengthAt(standard.data(), sample.data(), 11), 100.0, 1e-12);
    // 0 % and 0.005 % both floor to 0.0001; 0 % against 1 % exceeds the cap.
    standard[3] = 0.005;
    sample[3] = 0.0;
    EXPECT_NEAR(StrengthAt(standard.data(), sample.data(), 3), 100.0, 1e-12);
    standard[3] = 1.0;
    EXPECT_EQ(StrengthAt(standard.data(), sample.data(), 3), 1000.0);
    // Below the 4 % floor of StrengthSum the fine floor still tells them apart.
    standard[4] = 3.0;
    sample[4] = 2.0;
    EXPECT_NEAR(StrengthAt(standard.data(), sample.data(), 4), ks(0.02) / ks(0.03) * 100.0, 1e-9);
}

TEST(StrengthAt, PositionOutsideTheSpectrumGivesZero)
{
    const Spectrum spectrum = flatSpectrum(50.0);
    EXPECT_EQ(StrengthAt(spectrum.data(), spectrum.data(), -1), 0.0);
    EXPECT_EQ(StrengthAt(spectrum.data(), spectrum.data(), 31), 0.0);
    EXPECT_NEAR(StrengthAt(spectrum.data(), spectrum.data(), 30), 100.0, 1e-12);
}

TEST(StrengthMaxAbsorption, UsesTheStandardsSmallestTristimulusChannel)
{
    // A yellow standard absorbs in the blue: Z is its smallest value.
    Spectrum standard = flatSpectrum(80.0);
    for (int i = 0; i < 10; ++i)
        standard[i] = 10.0;
    Spectrum sample = standard;
    for (int i = 0; i < 10; ++i)
        sample[i] = 5.0;
    const Triple standardXyz = SpectrumToXYZ(standard.data(), 7);
    const Triple sampleXyz = SpectrumToXYZ(sample.data(), 7);
    ASSERT_LT(standardXyz[2], standardXyz[0]);
    ASSERT_LT(standardXyz[2], standardXyz[1]);
    const double expected = ks(sampleXyz[2] / 100.0) / ks(standardXyz[2] / 100.0) * 100.0;
    EXPECT_NEAR(StrengthMaxAbsorption(standard.data(), sample.data()), expected, 1e-9);
}

TEST(StrengthMaxAbsorption, TiesKeepXAndZerosAreFloored)
{
    // A black standard ties X = Y = Z = 0: X is used, floored to 0.0001.
    const Spectrum black = flatSpectrum(0.0);
    Spectrum blue = flatSpectrum(0.0);
    for (int i = 0; i < 8; ++i)
        blue[i] = 60.0;
    const Triple blueXyz = SpectrumToXYZ(blue.data(), 7);
    const double expectedX = ks(blueXyz[0] / 100.0) / ks(0.0001) * 100.0;
    EXPECT_NEAR(StrengthMaxAbsorption(black.data(), blue.data()), expectedX, 1e-9);
    EXPECT_NEAR(StrengthMaxAbsorption(black.data(), black.data()), 100.0, 1e-12);
    // A black sample against a light standard is capped.
    const Spectrum light = flatSpectrum(70.0);
    EXPECT_EQ(StrengthMaxAbsorption(light.data(), black.data()), 1000.0);
}

TEST(ApparentStrength, RatioOfSumsMinusMeanOfTheThird)
{
    const Spectrum s1 = flatSpectrum(50.0);
    const Spectrum s2 = flatSpectrum(60.0);
    const Spectrum s3 = flatSpectrum(100.0);
    EXPECT_NEAR(ApparentStrength(s1.data(), s2.data(), s3.data()), 20.0, 1e-9);
    Spectrum s3b = flatSpectrum(0.0);
    s3b[5] = 310.0;
    EXPECT_NEAR(ApparentStrength(s1.data(), s2.data(), s3b.data()), 110.0, 1e-9);
    const Spectrum zero = flatSpectrum(0.0);
    EXPECT_EQ(ApparentStrength(zero.data(), s2.data(), s3.data()), 0.0);
}
