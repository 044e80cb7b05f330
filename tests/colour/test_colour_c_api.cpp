#include <array>
#include <clocale>
#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "colour/colorimetry.h"
#include "colour/colour_difference.h"
#include "colour/colour_strength.h"
#include "colour_test_support.h"
#include "vireo2_colour.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

namespace {

constexpr double kUntouched = -12345.5;
const int kBadIndices[] = {-1, 18, 19, 255, -2147483647 - 1};

template <std::size_t N>
std::array<double, N> sentinel()
{
    std::array<double, N> values;
    values.fill(kUntouched);
    return values;
}

template <std::size_t N>
bool untouched(const std::array<double, N>& values)
{
    for (double v : values) {
        if (v != kUntouched)
            return false;
    }
    return true;
}

}  // namespace

TEST(ColourCApi, SpectrumFunctionsMatchTheLibrary)
{
    const Spectrum spectrum = fallingBumpSpectrum();
    for (int index = 0; index < kIlluminantCount; ++index) {
        auto xyz = sentinel<3>();
        ASSERT_EQ(Vireo2_SpectrumToXYZ(spectrum.data(), index, xyz.data()), 1);
        EXPECT_EQ(xyz, SpectrumToXYZ(spectrum.data(), index));

        auto lab = sentinel<3>();
        ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), index, 0, lab.data()), 1);
        EXPECT_EQ(lab, SpectrumToLab(spectrum.data(), index, false));
        ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), index, 7, lab.data()), 1);
        EXPECT_EQ(lab, SpectrumToLab(spectrum.data(), index, true));

        auto lch = sentinel<5>();
        ASSERT_EQ(Vireo2_SpectrumToLabCh(spectrum.data(), index, 1, lch.data()), 1);
        EXPECT_EQ(lch, SpectrumToLabCh(spectrum.data(), index, true));

        auto fromXyz = sentinel<3>();
        ASSERT_EQ(Vireo2_XYZToLab(xyz.data(), index, fromXyz.data()), 1);
        EXPECT_EQ(fromXyz, SpectrumToLab(spectrum.data(), index, false));
    }
}

TEST(ColourCApi, DifferenceMetamerismAndStrengthMatchTheLibrary)
{
    const double lab1[3] = {50.0, 2.6772, -79.7751};
    const double lab2[3] = {50.0, 0.0, -82.7485};
    double de = kUntouched;
    ASSERT_EQ(Vireo2_DeltaE76(lab1, lab2, &de), 1);
    EXPECT_EQ(de, DeltaE(lab1, lab2));
    ASSERT_EQ(Vireo2_DeltaE2000(lab1, lab2, &de), 1);
    EXPECT_NEAR(de, 2.0425, 1e-4);

    const Spectrum standard = risingSpectrum();
    const Spectrum sample = fallingBumpSpectrum();
    double mi = kUntouched;
    ASSERT_EQ(Vireo2_MetamerismIndex(standard.data(), sample.data(), 7, 1, &mi), 1);
    EXPECT_NEAR(mi, 13.0678710194, 1e-8);

    double strength = kUntouched;
    const Spectrum half = flatSpectrum(50.0);
    const Spectrum forty = flatSpectrum(40.0);
    ASSERT_EQ(Vireo2_StrengthSum(half.data(), forty.data(), &strength), 1);
    EXPECT_NEAR(strength, 180.0, 1e-9);
}

TEST(ColourCApi, NullPointersFailWithoutWriting)
{
    const Spectrum spectrum = flatSpectrum(50.0);
    auto out3 = sentinel<3>();
    auto out5 = sentinel<5>();
    EXPECT_EQ(Vireo2_SpectrumToXYZ(nullptr, 6, out3.data()), 0);
    EXPECT_EQ(Vireo2_SpectrumToXYZ(spectrum.data(), 6, nullptr), 0);
    EXPECT_EQ(Vireo2_SpectrumToLab(nullptr, 6, 0, out3.data()), 0);
    EXPECT_EQ(Vireo2_SpectrumToLab(spectrum.data(), 6, 0, nullptr), 0);
    EXPECT_EQ(Vireo2_SpectrumToLabCh(nullptr, 6, 0, out5.data()), 0);
    EXPECT_EQ(Vireo2_SpectrumToLabCh(spectrum.data(), 6, 0, nullptr), 0);
    EXPECT_EQ(Vireo2_XYZToLab(nullptr, 6, out3.data()), 0);
    EXPECT_EQ(Vireo2_XYZToLab(spectrum.data(), 6, nullptr), 0);
    EXPECT_TRUE(untouched(out3));
    EXPECT_TRUE(untouched(out5));

    double value = kUntouched;
    const double lab[3] = {50.0, 0.0, 0.0};
    EXPECT_EQ(Vireo2_DeltaE76(nullptr, lab, &value), 0);
    EXPECT_EQ(Vireo2_DeltaE76(lab, nullptr, &value), 0);
    EXPECT_EQ(Vireo2_DeltaE76(lab, lab, nullptr), 0);
    EXPECT_EQ(Vireo2_DeltaE2000(nullptr, lab, &value), 0);
    EXPECT_EQ(Vireo2_DeltaE2000(lab, nullptr, &value), 0);
    EXPECT_EQ(Vireo2_DeltaE2000(lab, lab, nullptr), 0);
    EXPECT_EQ(Vireo2_MetamerismIndex(nullptr, spectrum.data(), 6, 0, &value), 0);
    EXPECT_EQ(Vireo2_MetamerismIndex(spectrum.data(), nullptr, 6, 0, &value), 0);
    EXPECT_EQ(Vireo2_MetamerismIndex(spectrum.data(), spectrum.data(), 6, 0, nullptr), 0);
    EXPECT_EQ(Vireo2_StrengthSum(nullptr, spectrum.data(), &value), 0);
    EXPECT_EQ(Vireo2_StrengthSum(spectrum.data(), nullptr, &value), 0);
    EXPECT_EQ(Vireo2_StrengthSum(spectrum.data(), spectrum.data(), nullptr), 0);
    EXPECT_EQ(value, kUntouched);
    EXPECT_EQ(Vireo2_IlluminantName(6, nullptr, 16), 0);
}

TEST(ColourCApi, IndicesOutsideTheRangeFailWithoutWriting)
{
    const Spectrum spectrum = flatSpectrum(50.0);
    auto out3 = sentinel<3>();
    auto out5 = sentinel<5>();
    double value = kUntouched;
    char name[16] = "unchanged";
    for (int index : kBadIndices) {
        EXPECT_EQ(Vireo2_SpectrumToXYZ(spectrum.data(), index, out3.data()), 0) << index;
        EXPECT_EQ(Vireo2_SpectrumToLab(spectrum.data(), index, 0, out3.data()), 0) << index;
        EXPECT_EQ(Vireo2_SpectrumToLab(spectrum.data(), index, 1, out3.data()), 0) << index;
        EXPECT_EQ(Vireo2_SpectrumToLabCh(spectrum.data(), index, 0, out5.data()), 0) << index;
        EXPECT_EQ(Vireo2_XYZToLab(spectrum.data(), index, out3.data()), 0) << index;
        EXPECT_EQ(Vireo2_MetamerismIndex(spectrum.data(), spectrum.data(), index, 6, &value), 0) << index;
        EXPECT_EQ(Vireo2_MetamerismIndex(spectrum.data(), spectrum.data(), 6, index, &value), 0) << index;
        EXPECT_EQ(Vireo2_IlluminantName(index, name, sizeof name), 0) << index;
    }
    EXPECT_TRUE(untouched(out3));
    EXPECT_TRUE(untouched(out5));
    EXPECT_EQ(value, kUntouched);
    EXPECT_STREQ(name, "unchanged");
}

TEST(ColourCApi, IlluminantNamesAndBufferSizes)
{
    std::set<std::string> names;
    for (int index = 0; index < kIlluminantCount; ++index) {
        char name[16] = {};
        ASSERT_EQ(Vireo2_IlluminantName(index, name, sizeof name), 1) << index;
        const std::string text(name);
        EXPECT_EQ(text.substr(text.find('/')), index % 2 == 0 ? "/2" : "/10") << text;
        names.insert(text);
    }
    EXPECT_EQ(names.size(), 18u);

    char exact[7] = "xxxxxx";
    EXPECT_EQ(Vireo2_IlluminantName(7, exact, 7), 1);
    EXPECT_STREQ(exact, "D65/10");
    char small[6] = "xxxxx";
    EXPECT_EQ(Vireo2_IlluminantName(7, small, 6), 0);
    EXPECT_EQ(std::memcmp(small, "xxxxx", 6), 0);
    EXPECT_EQ(Vireo2_IlluminantName(7, small, 0), 0);
    EXPECT_EQ(Vireo2_IlluminantName(7, small, -4), 0);
    EXPECT_EQ(std::memcmp(small, "xxxxx", 6), 0);

    char f12[8] = {};
    EXPECT_EQ(Vireo2_IlluminantName(14, f12, sizeof f12), 1);
    EXPECT_STREQ(f12, "F12/2");
}

TEST(ColourCApi, ResultsDoNotDependOnTheNumericLocale)
{
    const Spectrum spectrum = fallingBumpSpectrum();
    double before[3], after[3];
    ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), 7, 0, before), 1);
    char nameBefore[16], nameAfter[16];
    ASSERT_EQ(Vireo2_IlluminantName(7, nameBefore, sizeof nameBefore), 1);
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    const bool switched = std::setlocale(LC_ALL, "de_DE.UTF-8") || std::setlocale(LC_ALL, "fr_FR.UTF-8")
                          || std::setlocale(LC_ALL, "C.UTF-8");
    ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), 7, 0, after), 1);
    ASSERT_EQ(Vireo2_IlluminantName(7, nameAfter, sizeof nameAfter), 1);
    std::setlocale(LC_ALL, previous.c_str());
    EXPECT_TRUE(switched);
    EXPECT_EQ(std::memcmp(before, after, sizeof before), 0);
    EXPECT_STREQ(nameBefore, nameAfter);
}
