#include <gtest/gtest.h>

#include "colour/colour_strength.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

namespace {

// Kubelka-Munk K/S of a reflectance fraction.
double ks(double r)
{
    return (1.0 - r) * (1.0 - r) / (2.0 * r);
}

constexpr int kSum = -99;  // position standing for StrengthSum

}  // namespace

// K/S of 50 % is 0.25, of 40 % 0.45. StrengthSum counts 420..680 nm
// (positions 2..28) with reflectances floored at 4 %; StrengthAt one
// position, floored at 0.01 %. Both cap at 1,000; a standard without
// absorption gives 100 for a sample without any either, else the cap.
TEST(ColourStrength, SumAndSinglePositionWithTheirFloorsAndCaps)
{
    const Spectrum half = flatSpectrum(50.0);
    const Spectrum black = flatSpectrum(0.0);
    const Spectrum white = flatSpectrum(100.0);
    const double oneOf27Darker = (26 * 0.25 + 0.45) / (27 * 0.25) * 100.0;
    const std::tuple<const char*, Spectrum, Spectrum, int, double> cases[] = {
        {"ratio of sums", half, flatSpectrum(40.0), kSum, 180.0},
        {"same", half, half, kSum, 100.0},
        {"outside 2..28", half, withBand(withBand(half, 0, 1, 5.0), 29, 30, 5.0), kSum, 100.0},
        {"at 2", half, withBand(half, 2, 2, 40.0), kSum, oneOf27Darker},
        {"at 28", half, withBand(half, 28, 28, 40.0), kSum, oneOf27Darker},
        {"0 % counts as 4 %", flatSpectrum(4.0), black, kSum, 100.0},
        {"2 % counts as 4 %", flatSpectrum(2.0), black, kSum, 100.0},
        {"black against 50 %: capped", half, black, kSum, 1000.0},
        {"50 % against black", black, half, kSum, 0.25 / ks(0.04) * 100.0},
        {"white standard, white sample", white, white, kSum, 100.0},
        {"white standard, grey sample", white, half, kSum, 1000.0},
        {"one position", half, withBand(half, 10, 10, 40.0), 10, 180.0},
        {"another position", half, withBand(half, 10, 10, 40.0), 11, 100.0},
        {"0.005 % and 0 % both floored", withBand(half, 3, 3, 0.005), withBand(half, 3, 3, 0.0), 3, 100.0},
        {"0 % against 1 %: capped", withBand(half, 3, 3, 1.0), withBand(half, 3, 3, 0.0), 3, 1000.0},
        {"below 4 % still apart", withBand(half, 4, 4, 3.0), withBand(half, 4, 4, 2.0), 4, ks(0.02) / ks(0.03) * 100.0},
        {"last position", half, half, 30, 100.0},
        {"before the first position", half, half, -1, 0.0},
        {"after the last position", half, half, 31, 0.0},
    };
    for (const auto& [what, standard, sample, position, expected] : cases) {
        const double strength = position == kSum ? StrengthSum(standard.data(), sample.data())
                                                 : StrengthAt(standard.data(), sample.data(), position);
        EXPECT_NEAR(strength, expected, 1e-9) << what;
    }
}

// The tristimulus value (D65/10) in which the standard absorbs most. Expected
// values computed separately from the stored tables (Python).
TEST(ColourStrength, MaxAbsorptionUsesTheStandardsSmallestValue)
{
    // A yellow standard absorbs in the blue: its Z is the smallest.
    const Spectrum yellow = withBand(flatSpectrum(80.0), 0, 9, 10.0);
    const Spectrum deeperYellow = withBand(flatSpectrum(80.0), 0, 9, 5.0);
    EXPECT_NEAR(StrengthMaxAbsorption(yellow.data(), deeperYellow.data()), 181.9876336395, 1e-8);
    // A black standard ties X = Y = Z = 0: X is used, floored to 0.01 %.
    const Spectrum black = flatSpectrum(0.0);
    const Spectrum blue = withBand(black, 0, 7, 60.0);
    EXPECT_NEAR(StrengthMaxAbsorption(black.data(), blue.data()), 0.0785245133, 1e-9);
    EXPECT_NEAR(StrengthMaxAbsorption(black.data(), black.data()), 100.0, 1e-12);
    const Spectrum light = flatSpectrum(70.0);
    EXPECT_EQ(StrengthMaxAbsorption(light.data(), black.data()), 1000.0);
}

TEST(ColourStrength, ApparentStrengthIsTheRatioOfSumsLessTheMeanOfTheThird)
{
    const Spectrum s1 = flatSpectrum(50.0);
    const Spectrum s2 = flatSpectrum(60.0);
    const Spectrum s3 = flatSpectrum(100.0);
    const Spectrum zero = flatSpectrum(0.0);
    EXPECT_NEAR(ApparentStrength(s1.data(), s2.data(), s3.data()), 20.0, 1e-9);
    EXPECT_NEAR(ApparentStrength(s1.data(), s2.data(), withBand(zero, 5, 5, 310.0).data()), 110.0, 1e-9);
    EXPECT_EQ(ApparentStrength(zero.data(), s2.data(), s3.data()), 0.0);
}
