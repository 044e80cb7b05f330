#include <cmath>

#include <gtest/gtest.h>

#include "colour/colorimetry.h"
#include "colour/weight_reader.h"
#include "colour/weighting_tables.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

namespace {

// Lab computed straight from the stored 16-bit table with its own reading of
// the storage rule and the textbook formulas, to check the library against.
Triple referenceLab(const Spectrum& spectrum, int index)
{
    double xyz[3] = {0.0, 0.0, 0.0};
    for (int row = 0; row < 3; ++row) {
        for (int i = 0; i < kSpectrumLength; ++i) {
            long weight = kStoredWeights[index][row][i];
            if ((index == 14 || index == 15) && row == 0 && weight < -1000)
                weight += 65536;
            xyz[row] += spectrum[i] * static_cast<double>(weight);
        }
        xyz[row] /= 100000.0;
    }
    const IlluminantWhite& white = WhitePoint(index);
    const double ratio[3] = {xyz[0] / white.Xn, xyz[1] / white.Yn, xyz[2] / white.Zn};
    double f[3];
    for (int c = 0; c < 3; ++c)
        f[c] = ratio[c] > 0.008856 ? std::cbrt(ratio[c]) : 7.787 * ratio[c] + 0.137931034;
    const double lightness = ratio[1] > 0.008856 ? 116.0 * f[1] - 16.0 : 903.292 * ratio[1];
    return {lightness, 500.0 * (f[0] - f[1]), 200.0 * (f[1] - f[2])};
}

}  // namespace

TEST(SpectrumToXYZ, PerfectWhiteGivesTheWhitePointUnderEveryIndex)
{
    const Spectrum white = flatSpectrum(100.0);
    for (int index = 0; index < kIlluminantCount; ++index) {
        const Triple xyz = SpectrumToXYZ(white.data(), index);
        const IlluminantWhite& point = WhitePoint(index);
        const double tolerance = (index == 14 || index == 15) ? 1e-9 : 0.01;
        EXPECT_NEAR(xyz[0], point.Xn, tolerance) << "index " << index;
        EXPECT_NEAR(xyz[1], point.Yn, tolerance) << "index " << index;
        EXPECT_NEAR(xyz[2], point.Zn, tolerance) << "index " << index;
    }
}

TEST(SpectrumToXYZ, SingleWavelengthPicksOneWeightPerRow)
{
    // D65/2 at 560 nm: the published E308 weights 5.632, 9.446, 0.034 at 100 %.
    const Spectrum spike = spikeSpectrum(16);
    const Triple xyz = SpectrumToXYZ(spike.data(), 6);
    EXPECT_NEAR(xyz[0], 5.632, 1e-12);
    EXPECT_NEAR(xyz[1], 9.446, 1e-12);
    EXPECT_NEAR(xyz[2], 0.034, 1e-12);
}

TEST(SpectrumToXYZ, F12MercuryLineReadsAsALargePositiveWeight)
{
    // The 610 nm x weight of F12 exceeds 32,767 and is stored wrapped.
    for (int index : {14, 15}) {
        const Spectrum spike = spikeSpectrum(21);
        const Triple xyz = SpectrumToXYZ(spike.data(), index);
        EXPECT_GT(xyz[0], 32.767) << "index " << index;
        EXPECT_LT(xyz[0], 45.0) << "index " << index;
    }
    // A small negative weight keeps its sign: F12/2 x at 530 nm.
    const Spectrum spike530 = spikeSpectrum(13);
    EXPECT_LT(SpectrumToXYZ(spike530.data(), 14)[0], 0.0);
}

TEST(SpectrumToXYZ, InvalidIndexGivesZeros)
{
    const Spectrum white = flatSpectrum(100.0);
    for (int index : {-1, 18, 19, 1000}) {
        const Triple xyz = SpectrumToXYZ(white.data(), index);
        EXPECT_EQ(xyz, (Triple{0.0, 0.0, 0.0}));
        EXPECT_EQ(XYZToLab(50.0, 50.0, 50.0, index), (Triple{0.0, 0.0, 0.0}));
        EXPECT_EQ(XYZToHunterLab(50.0, 50.0, 50.0, index), (Triple{0.0, 0.0, 0.0}));
    }
}

TEST(XYZToChromaticity, DividesByTheSumAndGivesZerosForBlack)
{
    const Chromaticity xy = XYZToChromaticity(1.0, 2.0, 3.0);
    EXPECT_DOUBLE_EQ(xy[0], 1.0 / 6.0);
    EXPECT_DOUBLE_EQ(xy[1], 2.0 / 6.0);
    EXPECT_EQ(XYZToChromaticity(0.0, 0.0, 0.0), (Chromaticity{0.0, 0.0}));
    EXPECT_EQ(XYZToChromaticity(1.0, -1.0, 0.0), (Chromaticity{0.0, 0.0}));
}

TEST(XYZToLab, KnownColourUnderD65)
{
    // sRGB red (X 41.2456, Y 21.2673, Z 1.9334) is L* 53.24, a* 80.09, b* 67.20 under D65/2.
    const Triple lab = XYZToLab(41.2456, 21.2673, 1.9334, 6);
    EXPECT_NEAR(lab[0], 53.24, 0.01);
    EXPECT_NEAR(lab[1], 80.09, 0.01);
    EXPECT_NEAR(lab[2], 67.20, 0.01);
}

TEST(XYZToLab, DarkColoursUseTheLinearBranches)
{
    // y = 0.005 and x = 0.004, z = 0.008 are below 0.008856.
    const IlluminantWhite& white = WhitePoint(7);
    const Triple lab = XYZToLab(0.004 * white.Xn, 0.5, 0.008 * white.Zn, 7);
    EXPECT_NEAR(lab[0], 903.292 * 0.005, 1e-12);
    EXPECT_NEAR(lab[1], 500.0 * 7.787 * (0.004 - 0.005), 1e-9);
    EXPECT_NEAR(lab[2], 200.0 * 7.787 * (0.005 - 0.008), 1e-9);
    // Just above the threshold the cube root applies.
    const Triple above = XYZToLab(white.Xn, 0.9 * white.Yn, white.Zn, 7);
    EXPECT_NEAR(above[0], 116.0 * std::cbrt(0.9) - 16.0, 1e-9);
}

TEST(XYZToHunterLab, HandComputedValuesAndBlack)
{
    // x = 0.36, y = 0.25, z = 0.16: r = 0.5, L = 50, a = Ka * 0.22, b = Kb * 0.18.
    const IlluminantWhite& white = WhitePoint(6);
    const Triple lab = XYZToHunterLab(0.36 * white.Xn, 0.25 * white.Yn, 0.16 * white.Zn, 6);
    EXPECT_NEAR(lab[0], 50.0, 1e-9);
    EXPECT_NEAR(lab[1], 172.28 * 0.22, 1e-9);
    EXPECT_NEAR(lab[2], 67.18 * 0.18, 1e-9);
    EXPECT_EQ(XYZToHunterLab(10.0, 0.0, 5.0, 6), (Triple{0.0, 0.0, 0.0}));
}

TEST(SpectrumToLab, WhiteIsL100AndNeutral)
{
    const Spectrum white = flatSpectrum(100.0);
    for (int index = 0; index < kIlluminantCount; ++index) {
        const Triple lab = SpectrumToLab(white.data(), index, false);
        EXPECT_NEAR(lab[0], 100.0, 0.01) << "index " << index;
        EXPECT_NEAR(lab[1], 0.0, 0.03) << "index " << index;
        EXPECT_NEAR(lab[2], 0.0, 0.03) << "index " << index;
        const Triple hunter = SpectrumToLab(white.data(), index, true);
        EXPECT_NEAR(hunter[0], 100.0, 0.01) << "index " << index;
        EXPECT_NEAR(hunter[1], 0.0, 0.03) << "index " << index;
        EXPECT_NEAR(hunter[2], 0.0, 0.03) << "index " << index;
    }
}

TEST(SpectrumToLab, BlackIsL0ByTheLinearBranchAndHunterZeros)
{
    const Spectrum black = flatSpectrum(0.0);
    for (int index = 0; index < kIlluminantCount; ++index) {
        EXPECT_EQ(SpectrumToLab(black.data(), index, false), (Triple{0.0, 0.0, 0.0})) << "index " << index;
        EXPECT_EQ(SpectrumToLab(black.data(), index, true), (Triple{0.0, 0.0, 0.0})) << "index " << index;
    }
}

TEST(SpectrumToLab, MatchesAnIndependentComputationUnderEveryIndex)
{
    const Spectrum spectra[] = {risingSpectrum(), fallingBumpSpectrum(), spikeSpectrum(21), flatSpectrum(0.5)};
    for (const Spectrum& spectrum : spectra) {
        for (int index = 0; index < kIlluminantCount; ++index) {
            const Triple expected = referenceLab(spectrum, index);
            const Triple lab = SpectrumToLab(spectrum.data(), index, false);
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(lab[c], expected[c], 1e-9) << "index " << index << " component " << c;
        }
    }
}

TEST(LabToLabCh, ZeroAIsReplacedSoTheHueIsDefined)
{
    const LabCh up = LabToLabCh({50.0, 0.0, 5.0});
    EXPECT_EQ(up[1], 0.000001);
    EXPECT_NEAR(up[3], 5.0, 1e-9);
    EXPECT_NEAR(up[4], 90.0, 1e-4);
    EXPECT_LT(up[4], 90.0);

    const LabCh down = LabToLabCh({50.0, 0.0, -5.0});
    EXPECT_NEAR(down[4], 270.0, 1e-4);

    const LabCh neutral = LabToLabCh({0.0, 0.0, 0.0});
    EXPECT_EQ(neutral[1], 0.000001);
    EXPECT_EQ(neutral[3], 0.000001);
    EXPECT_EQ(neutral[4], 0.0);
}

TEST(LabToLabCh, HueCoversTheFullCircle)
{
    const double cases[][3] = {{3.0, 4.0, 53.130102354}, {-1.0, 0.0, 180.0}, {1.0, -1.0, 315.0},
                               {-1.0, -1.0, 225.0}, {-2.0, 2.0, 135.0}};
    for (const auto& c : cases) {
        const LabCh lch = LabToLabCh({40.0, c[0], c[1]});
        EXPECT_EQ(lch[0], 40.0);
        EXPECT_EQ(lch[1], c[0]);
        EXPECT_EQ(lch[2], c[1]);
        EXPECT_NEAR(lch[3], std::hypot(c[0], c[1]), 1e-12);
        EXPECT_NEAR(lch[4], c[2], 1e-9);
    }
}

TEST(SpectrumToLabCh, BlackHasDefinedHueAndHunterFlagSwitchesSpace)
{
    const Spectrum black = flatSpectrum(0.0);
    const LabCh lch = SpectrumToLabCh(black.data(), 6, false);
    EXPECT_EQ(lch[1], 0.000001);
    EXPECT_FALSE(std::isnan(lch[4]));

    const Spectrum spectrum = fallingBumpSpectrum();
    const Triple hunter = SpectrumToLab(spectrum.data(), 3, true);
    const LabCh hunterLch = SpectrumToLabCh(spectrum.data(), 3, true);
    EXPECT_EQ(hunterLch[0], hunter[0]);
    EXPECT_EQ(hunterLch[2], hunter[2]);
}

TEST(DeltaE, EuclideanDistance)
{
    const double a[3] = {50.0, 10.0, -20.0};
    const double b[3] = {53.0, 14.0, -8.0};
    EXPECT_DOUBLE_EQ(DeltaE(a, b), 13.0);
    EXPECT_DOUBLE_EQ(DeltaE(b, a), 13.0);
    EXPECT_EQ(DeltaE(a, a), 0.0);
}

TEST(DeltaESum, AddsTheDifferencesUnderBothIndices)
{
    const Spectrum one = risingSpectrum();
    const Spectrum two = fallingBumpSpectrum();
    const Triple a7 = referenceLab(one, 7), b7 = referenceLab(two, 7);
    const Triple a1 = referenceLab(one, 1), b1 = referenceLab(two, 1);
    const double expected = DeltaE(a7.data(), b7.data()) + DeltaE(a1.data(), b1.data());
    EXPECT_NEAR(DeltaESum(one.data(), two.data(), 7, 1), expected, 1e-9);
    EXPECT_NEAR(DeltaESum(one.data(), two.data(), 7, 7), 2.0 * DeltaE(a7.data(), b7.data()), 1e-9);
    EXPECT_EQ(DeltaESum(one.data(), one.data(), 7, 1), 0.0);
}

TEST(MetamerismIndex, MatchesHandComputedValues)
{
    // Computed separately from the integer tables (python, textbook formulas):
    // d1, d2 = Lab(sample) - Lab(standard) under each index, |d1 - d2|.
    const Spectrum standard = risingSpectrum();
    const Spectrum sample = fallingBumpSpectrum();
    EXPECT_NEAR(MetamerismIndex(standard.data(), sample.data(), 7, 1), 13.0678710194, 1e-8);
    EXPECT_NEAR(MetamerismIndex(standard.data(), sample.data(), 7, 12), 7.9672092491, 1e-8);
    EXPECT_NEAR(MetamerismIndex(standard.data(), sample.data(), 6, 14), 13.2287899038, 1e-8);
}

TEST(MetamerismIndex, VanishesForIdenticalNeutralAndSameIndexPairs)
{
    const Spectrum standard = risingSpectrum();
    const Spectrum sample = fallingBumpSpectrum();
    EXPECT_EQ(MetamerismIndex(standard.data(), standard.data(), 7, 1), 0.0);
    EXPECT_EQ(MetamerismIndex(standard.data(), sample.data(), 5, 5), 0.0);
    // Two greys differ only in lightness under every illuminant.
    const Spectrum light = flatSpectrum(60.0);
    const Spectrum dark = flatSpectrum(30.0);
    EXPECT_LT(MetamerismIndex(light.data(), dark.data(), 6, 0), 0.05);
    // Swapping the illuminants flips d1 - d2 but keeps its length.
    EXPECT_NEAR(MetamerismIndex(standard.data(), sample.data(), 1, 7),
                MetamerismIndex(standard.data(), sample.data(), 7, 1), 1e-12);
}
