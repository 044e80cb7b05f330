#include <cmath>
#include <clocale>
#include <random>
#include <vector>
#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "colour/colorimetry.h"
#include "colour_test_support.h"
#include "vireo2_colour.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

TEST(ColourCApi, ResultsAreTheLibrarysAndKnownValues)
{
    const Spectrum spectrum = fallingBumpSpectrum();
    for (int index = 0; index < kIlluminantCount; ++index) {
        std::array<double, 3> xyz, lab, hunter, fromXyz;
        std::array<double, 5> lch;
        ASSERT_EQ(Vireo2_SpectrumToXYZ(spectrum.data(), index, xyz.data()), 1);
        ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), index, 0, lab.data()), 1);
        ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), index, 7, hunter.data()), 1);  // any non-zero is Hunter
        ASSERT_EQ(Vireo2_SpectrumToLabCh(spectrum.data(), index, 1, lch.data()), 1);
        ASSERT_EQ(Vireo2_XYZToLab(xyz.data(), index, fromXyz.data()), 1);
        EXPECT_EQ(xyz, SpectrumToXYZ(spectrum.data(), index));
        EXPECT_EQ(lab, SpectrumToLab(spectrum.data(), index, false));
        EXPECT_EQ(hunter, SpectrumToLab(spectrum.data(), index, true));
        EXPECT_EQ(lch, SpectrumToLabCh(spectrum.data(), index, true));
        EXPECT_EQ(fromXyz, lab);
    }
    const double lab1[3] = {50.0, 2.6772, -79.7751};  // the first CIEDE2000 test pair
    const double lab2[3] = {50.0, 0.0, -82.7485};
    const double far[3] = {53.0, 2.6772 + 4.0, -79.7751 + 12.0};
    double value = 0.0;
    ASSERT_EQ(Vireo2_DeltaE2000(lab1, lab2, &value), 1);
    EXPECT_NEAR(value, 2.0425, 1e-4);
    ASSERT_EQ(Vireo2_DeltaE76(lab1, far, &value), 1);
    EXPECT_NEAR(value, 13.0, 1e-12);
    ASSERT_EQ(Vireo2_MetamerismIndex(risingSpectrum().data(), spectrum.data(), 7, 1, &value), 1);
    EXPECT_NEAR(value, 13.0678710194, 1e-8);
    ASSERT_EQ(Vireo2_StrengthSum(flatSpectrum(50.0).data(), flatSpectrum(40.0).data(), &value), 1);
    EXPECT_NEAR(value, 180.0, 1e-9);
}

TEST(ColourCApi, NullPointersAndIndicesOutside0To17FailWithoutWriting)
{
    constexpr double kUntouched = -12345.5;
    const Spectrum spectrum = flatSpectrum(50.0);
    const double* s = spectrum.data();
    std::array<double, 5> out;
    out.fill(kUntouched);
    double* o = out.data();
    double value = kUntouched;
    char name[16] = "unchanged";
    const int nullCalls[] = {
        Vireo2_SpectrumToXYZ(nullptr, 6, o),         Vireo2_SpectrumToXYZ(s, 6, nullptr),
        Vireo2_SpectrumToLab(nullptr, 6, 0, o),      Vireo2_SpectrumToLab(s, 6, 0, nullptr),
        Vireo2_SpectrumToLabCh(nullptr, 6, 0, o),    Vireo2_SpectrumToLabCh(s, 6, 0, nullptr),
        Vireo2_XYZToLab(nullptr, 6, o),              Vireo2_XYZToLab(s, 6, nullptr),
        Vireo2_DeltaE76(nullptr, s, &value),         Vireo2_DeltaE76(s, nullptr, &value),
        Vireo2_DeltaE76(s, s, nullptr),              Vireo2_DeltaE2000(nullptr, s, &value),
        Vireo2_DeltaE2000(s, nullptr, &value),       Vireo2_DeltaE2000(s, s, nullptr),
        Vireo2_MetamerismIndex(nullptr, s, 6, 0, &value), Vireo2_MetamerismIndex(s, nullptr, 6, 0, &value),
        Vireo2_MetamerismIndex(s, s, 6, 0, nullptr), Vireo2_StrengthSum(nullptr, s, &value),
        Vireo2_StrengthSum(s, nullptr, &value),      Vireo2_StrengthSum(s, s, nullptr),
        Vireo2_IlluminantName(6, nullptr, 16),
        Vireo2_DeltaE94(nullptr, s, 0, &value),      Vireo2_DeltaE94(s, nullptr, 0, &value),
        Vireo2_DeltaE94(s, s, 0, nullptr),           Vireo2_DeltaECMC(nullptr, s, 2, 1, &value),
        Vireo2_DeltaECMC(s, nullptr, 2, 1, &value),  Vireo2_DeltaECMC(s, s, 2, 1, nullptr),
        Vireo2_DeltaECMC(s, s, 0, 1, &value),        Vireo2_DeltaECMC(s, s, 2, -1, &value),
    };
    for (std::size_t i = 0; i < std::size(nullCalls); ++i)
        EXPECT_EQ(nullCalls[i], 0) << "call " << i;
    for (int index : {-1, 18, 19, 255, -2147483647 - 1}) {
        const int badIndexCalls[] = {
            Vireo2_SpectrumToXYZ(s, index, o),   Vireo2_SpectrumToLab(s, index, 0, o),
            Vireo2_SpectrumToLab(s, index, 1, o), Vireo2_SpectrumToLabCh(s, index, 0, o),
            Vireo2_XYZToLab(s, index, o),        Vireo2_MetamerismIndex(s, s, index, 6, &value),
            Vireo2_MetamerismIndex(s, s, 6, index, &value), Vireo2_IlluminantName(index, name, sizeof name),
        };
        for (int result : badIndexCalls)
            EXPECT_EQ(result, 0) << "index " << index;
    }
    for (double v : out)
        EXPECT_EQ(v, kUntouched);
    EXPECT_EQ(value, kUntouched);
    EXPECT_STREQ(name, "unchanged");
}

// NaN and infinity have no colour: every function refuses them wherever they
// sit, writes nothing, and the batch leaves no number that could pass.
TEST(ColourCApi, ValuesThatAreNotFiniteFailWithoutWriting)
{
    constexpr double kUntouched = -12345.5;
    const Spectrum good = flatSpectrum(50.0);
    const double goodLab[3] = {50.0, 2.0, -3.0};
    for (double bad : {std::nan(""), double(INFINITY), -double(INFINITY)}) {
        for (int at : {0, 17, 30}) {
            Spectrum spectrum = good;
            spectrum[size_t(at)] = bad;
            const double* s = spectrum.data();
            double lab[3] = {goodLab[0], goodLab[1], goodLab[2]};
            lab[at % 3] = bad;
            std::array<double, 5> out;
            out.fill(kUntouched);
            double value = kUntouched;
            const int calls[] = {
                Vireo2_SpectrumToXYZ(s, 6, out.data()),          Vireo2_SpectrumToLab(s, 6, 0, out.data()),
                Vireo2_SpectrumToLab(s, 6, 1, out.data()),       Vireo2_SpectrumToLabCh(s, 6, 0, out.data()),
                Vireo2_XYZToLab(lab, 6, out.data()),             Vireo2_DeltaE76(lab, goodLab, &value),
                Vireo2_DeltaE2000(goodLab, lab, &value),         Vireo2_DeltaE94(lab, goodLab, 0, &value),
                Vireo2_DeltaECMC(goodLab, lab, 2, 1, &value),    Vireo2_DeltaECMC(goodLab, goodLab, bad, 1, &value),
                Vireo2_MetamerismIndex(s, good.data(), 6, 0, &value), Vireo2_MetamerismIndex(good.data(), s, 6, 0, &value),
                Vireo2_StrengthSum(s, good.data(), &value),      Vireo2_StrengthSum(good.data(), s, &value),
            };
            for (std::size_t i = 0; i < std::size(calls); ++i)
                EXPECT_EQ(calls[i], 0) << "call " << i << " with " << bad << " at " << at;
            for (double v : out)
                EXPECT_EQ(v, kUntouched);
            EXPECT_EQ(value, kUntouched);

            std::vector<double> batch;
            for (int k = 0; k < 3; ++k)
                batch.insert(batch.end(), (k == 1 ? spectrum : good).begin(), (k == 1 ? spectrum : good).end());
            std::vector<double> labs(9, kUntouched);
            EXPECT_EQ(Vireo2_SpectraToLab(batch.data(), 3, 6, labs.data()), 0);
            for (double v : labs)
                EXPECT_TRUE(std::isnan(v));
        }
    }
}

// CIE94 and CMC forward to the library's formulas with the reference first,
// so swapping reference and sample changes the answer.
TEST(ColourCApi, Cie94AndCmcWeighByTheReference)
{
    const double reference[3] = {60.0, 30.0, 20.0};
    const double sample[3] = {62.0, 28.0, 25.0};
    double value = 0.0;
    ASSERT_EQ(Vireo2_DeltaE94(reference, sample, 0, &value), 1);
    EXPECT_NEAR(value, 3.9509215597, 1e-9);
    ASSERT_EQ(Vireo2_DeltaE94(reference, sample, 1, &value), 1);
    EXPECT_NEAR(value, 3.6238880355, 1e-9);
    ASSERT_EQ(Vireo2_DeltaECMC(reference, sample, 2.0, 1.0, &value), 1);
    EXPECT_NEAR(value, 4.7758911273, 1e-9);
    ASSERT_EQ(Vireo2_DeltaECMC(reference, sample, 1.0, 1.0, &value), 1);
    EXPECT_NEAR(value, 4.9913292402, 1e-9);
    const double red[3] = {50.0, 30.0, 0.0}, stronger[3] = {50.0, 40.0, 0.0};
    ASSERT_EQ(Vireo2_DeltaE94(red, stronger, 0, &value), 1);
    EXPECT_NEAR(value, 10.0 / 2.35, 1e-12);
    ASSERT_EQ(Vireo2_DeltaE94(stronger, red, 0, &value), 1);
    EXPECT_NEAR(value, 10.0 / 2.8, 1e-12);
}

// The colour functions take percent; the device hands out factors. Passing
// factors by mistake gives a near-black colour, which is what the headers
// warn about: a light grey of 50 % reads L* 76, its factors L* about 4.5.
TEST(ColourCApi, FactorsPassedForPercentGiveANearBlackColour)
{
    const Spectrum percent = flatSpectrum(50.0);
    const Spectrum factors = flatSpectrum(0.5);
    double lab[3];
    ASSERT_EQ(Vireo2_SpectrumToLab(percent.data(), 4, 0, lab), 1);
    EXPECT_NEAR(lab[0], 76.07, 0.01);
    ASSERT_EQ(Vireo2_SpectrumToLab(factors.data(), 4, 0, lab), 1);
    EXPECT_NEAR(lab[0], 4.52, 0.01);
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
    EXPECT_EQ(names.count("F12/2"), 1u);

    char buffer[7] = "xxxxxx";
    EXPECT_EQ(Vireo2_IlluminantName(7, buffer, 6), 0);  // no room for the terminator
    EXPECT_EQ(Vireo2_IlluminantName(7, buffer, 0), 0);
    EXPECT_EQ(Vireo2_IlluminantName(7, buffer, -4), 0);
    EXPECT_STREQ(buffer, "xxxxxx");
    EXPECT_EQ(Vireo2_IlluminantName(7, buffer, 7), 1);
    EXPECT_STREQ(buffer, "D65/10");
}

TEST(ColourCApi, ResultsDoNotDependOnTheNumericLocale)
{
    const Spectrum spectrum = fallingBumpSpectrum();
    double before[3], after[3];
    char nameBefore[16], nameAfter[16];
    ASSERT_EQ(Vireo2_SpectrumToLab(spectrum.data(), 7, 0, before), 1);
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

// The batch conversion gives the single-spectrum values for every
// illuminant, over spectra from near black to fluorescent, and refuses what
// the single form refuses.
TEST(ColourCApi, BatchConversionMatchesTheSingleSpectrumPath)
{
    std::mt19937 generator(2026);
    std::uniform_real_distribution<double> reflectance(0.0, 130.0);
    std::vector<double> spectra;
    for (const Spectrum& s : {flatSpectrum(0.0), flatSpectrum(0.5), flatSpectrum(100.0), fallingBumpSpectrum(),
                              risingSpectrum()})
        spectra.insert(spectra.end(), s.begin(), s.end());
    for (int k = 0; k < 200 * 31; ++k)
        spectra.push_back(reflectance(generator) * (k % 93 < 31 ? 0.02 : 1.0));
    const int count = int(spectra.size() / 31);
    std::vector<double> lab(size_t(count) * 3, -1.0);
    for (int index = 0; index < kIlluminantCount; ++index) {
        ASSERT_EQ(Vireo2_SpectraToLab(spectra.data(), count, index, lab.data()), 1);
        for (int k = 0; k < count; ++k) {
            const auto single = SpectrumToLab(spectra.data() + 31 * k, index, false);
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(lab[size_t(3 * k + c)], single[size_t(c)], 1e-12) << index << " " << k << " " << c;
        }
    }
    double untouched[3] = {7.0, 7.0, 7.0};
    EXPECT_EQ(Vireo2_SpectraToLab(spectra.data(), 0, 4, untouched), 1);
    EXPECT_EQ(Vireo2_SpectraToLab(nullptr, 0, 4, nullptr), 1);
    EXPECT_EQ(Vireo2_SpectraToLab(spectra.data(), -1, 4, untouched), 0);
    EXPECT_EQ(Vireo2_SpectraToLab(spectra.data(), 1, 18, untouched), 0);
    EXPECT_EQ(Vireo2_SpectraToLab(nullptr, 1, 4, untouched), 0);
    EXPECT_EQ(Vireo2_SpectraToLab(spectra.data(), 1, 4, nullptr), 0);
    EXPECT_EQ(untouched[0], 7.0);
}
