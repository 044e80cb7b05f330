#include <cmath>

#include <gtest/gtest.h>

#include "colour/colorimetry.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

// A perfect white reads as the white point (the table sums: exactly for the
// fitted F12 entries 14 and 15, which also need the reading rule), L* 100 and
// neutral; black reads as all zeros, L* by the linear branch.
TEST(Colorimetry, WhiteAndBlackUnderEveryIndex)
{
    const Spectrum white = flatSpectrum(100.0);
    const Spectrum black = flatSpectrum(0.0);
    for (int index = 0; index < kIlluminantCount; ++index) {
        SCOPED_TRACE(IlluminantName(index));
        const IlluminantWhite& point = WhitePoint(index);
        const double tolerance = (index == 14 || index == 15) ? 1e-9 : 0.01;
        const Triple xyz = SpectrumToXYZ(white.data(), index);
        EXPECT_NEAR(xyz[0], point.Xn, tolerance);
        EXPECT_NEAR(xyz[1], point.Yn, tolerance);
        EXPECT_NEAR(xyz[2], point.Zn, tolerance);
        for (bool hunter : {false, true}) {
            const Triple lab = SpectrumToLab(white.data(), index, hunter);
            EXPECT_NEAR(lab[0], 100.0, 0.01);
            EXPECT_NEAR(std::hypot(lab[1], lab[2]), 0.0, 0.03);
            EXPECT_EQ(SpectrumToLab(black.data(), index, hunter), (Triple{0.0, 0.0, 0.0}));
        }
    }
}

TEST(Colorimetry, IndexOutsideTheTablesGivesZeros)
{
    const Spectrum white = flatSpectrum(100.0);
    for (int index : {-1, 18, 19, 1000}) {
        EXPECT_EQ(SpectrumToXYZ(white.data(), index), (Triple{0.0, 0.0, 0.0})) << index;
        EXPECT_EQ(XYZToLab(50.0, 50.0, 50.0, index), (Triple{0.0, 0.0, 0.0})) << index;
        EXPECT_EQ(XYZToHunterLab(50.0, 50.0, 50.0, index), (Triple{0.0, 0.0, 0.0})) << index;
    }
}

TEST(Colorimetry, ConversionsOfKnownTristimulusValues)
{
    EXPECT_EQ(XYZToChromaticity(1.0, 2.0, 3.0), (Chromaticity{1.0 / 6.0, 2.0 / 6.0}));
    EXPECT_EQ(XYZToChromaticity(1.0, -1.0, 0.0), (Chromaticity{0.0, 0.0}));

    // sRGB red is L* 53.24, a* 80.09, b* 67.20 under D65/2.
    const Triple red = XYZToLab(41.2456, 21.2673, 1.9334, 6);
    EXPECT_NEAR(red[0], 53.24, 0.01);
    EXPECT_NEAR(red[1], 80.09, 0.01);
    EXPECT_NEAR(red[2], 67.20, 0.01);

    // Ratios 0.004, 0.005, 0.008 to the white point lie on the linear branches.
    const IlluminantWhite& d65 = WhitePoint(7);
    const Triple dark = XYZToLab(0.004 * d65.Xn, 0.5, 0.008 * d65.Zn, 7);
    EXPECT_NEAR(dark[0], 4.51646, 1e-9);
    EXPECT_NEAR(dark[1], -3.8935, 1e-9);
    EXPECT_NEAR(dark[2], -4.6722, 1e-9);

    // Hunter: ratios 0.36, 0.25, 0.16 give L 50, a 0.22 Ka, b 0.18 Kb; Y = 0 gives zeros.
    const IlluminantWhite& d65two = WhitePoint(6);
    const Triple hunter = XYZToHunterLab(0.36 * d65two.Xn, 0.25 * d65two.Yn, 0.16 * d65two.Zn, 6);
    EXPECT_NEAR(hunter[0], 50.0, 1e-9);
    EXPECT_NEAR(hunter[1], 172.28 * 0.22, 1e-9);
    EXPECT_NEAR(hunter[2], 67.18 * 0.18, 1e-9);
    EXPECT_EQ(XYZToHunterLab(10.0, 0.0, 5.0, 6), (Triple{0.0, 0.0, 0.0}));
}

TEST(Colorimetry, LabChHueCoversTheCircleAndIsDefinedForZeroA)
{
    // a, b, then the a, chroma and hue reported.
    const double cases[][5] = {
        {0.0, 5.0, 0.000001, 5.0, 89.99999},  {0.0, -5.0, 0.000001, 5.0, 270.00001},
        {0.0, 0.0, 0.000001, 0.000001, 0.0},  {3.0, 4.0, 3.0, 5.0, 53.130102354},
        {-1.0, 0.0, -1.0, 1.0, 180.0},        {1.0, -1.0, 1.0, std::sqrt(2.0), 315.0},
        {-1.0, -1.0, -1.0, std::sqrt(2.0), 225.0}, {-2.0, 2.0, -2.0, std::sqrt(8.0), 135.0},
    };
    for (const auto& c : cases) {
        const LabCh lch = LabToLabCh({40.0, c[0], c[1]});
        EXPECT_EQ(lch[0], 40.0);
        EXPECT_EQ(lch[1], c[2]);
        EXPECT_EQ(lch[2], c[1]);
        EXPECT_NEAR(lch[3], c[3], 1e-9) << c[0] << ", " << c[1];
        EXPECT_NEAR(lch[4], c[4], 1e-5) << c[0] << ", " << c[1];
    }
    const Spectrum spectrum = fallingBumpSpectrum();
    EXPECT_EQ(SpectrumToLabCh(spectrum.data(), 3, true)[0], SpectrumToLab(spectrum.data(), 3, true)[0]);
    EXPECT_NE(SpectrumToLabCh(spectrum.data(), 3, true)[0], SpectrumToLabCh(spectrum.data(), 3, false)[0]);
}

// Expected values computed separately from the stored integer tables with the
// textbook formulas (Python).
TEST(Colorimetry, MetamerismIndexAndDeltaESumMatchAHandComputation)
{
    const Spectrum standard = risingSpectrum();
    const Spectrum sample = fallingBumpSpectrum();
    EXPECT_NEAR(MetamerismIndex(standard.data(), sample.data(), 7, 1), 13.0678710194, 1e-8);
    EXPECT_NEAR(MetamerismIndex(standard.data(), sample.data(), 7, 12), 7.9672092491, 1e-8);
    EXPECT_NEAR(MetamerismIndex(standard.data(), sample.data(), 6, 14), 13.2287899038, 1e-8);
    EXPECT_NEAR(DeltaESum(standard.data(), sample.data(), 7, 1), 93.7005045693, 1e-8);

    EXPECT_EQ(MetamerismIndex(standard.data(), standard.data(), 7, 1), 0.0);
    EXPECT_EQ(MetamerismIndex(standard.data(), sample.data(), 5, 5), 0.0);
    // Two greys differ only in lightness under every illuminant.
    const Spectrum light = flatSpectrum(60.0);
    const Spectrum dark = flatSpectrum(30.0);
    EXPECT_LT(MetamerismIndex(light.data(), dark.data(), 6, 0), 0.05);
}
