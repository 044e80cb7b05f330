#include <cmath>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

#include "colour/colour_difference.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

namespace {

constexpr double kRadiansPerDegree = 3.14159265358979323846 / 180.0;

void readTriple(const QJsonValue& value, double out[3])
{
    const QJsonArray array = value.toArray();
    for (int i = 0; i < 3; ++i)
        out[i] = array.at(i).toDouble();
}

}  // namespace

TEST(DeltaE2000, ReproducesThePublishedTestPairs)
{
    QFile file(colourDataFile("ciede2000-sharma-wu-dalal.json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonArray pairs = QJsonDocument::fromJson(file.readAll()).object().value("pairs").toArray();
    ASSERT_EQ(pairs.size(), 34);
    for (const QJsonValue& value : pairs) {
        const QJsonObject pair = value.toObject();
        double lab1[3], lab2[3];
        readTriple(pair.value("lab1"), lab1);
        readTriple(pair.value("lab2"), lab2);
        const double expected = pair.value("dE00").toDouble();
        EXPECT_NEAR(DeltaE2000(lab1, lab2), expected, 1e-4) << "pair " << pair.value("n").toInt();
        // The formula is symmetric.
        EXPECT_NEAR(DeltaE2000(lab2, lab1), expected, 1e-4) << "pair " << pair.value("n").toInt();
    }
}

TEST(DeltaE2000, ZeroForEqualColoursAndParametricLightness)
{
    const double lab[3] = {50.0, 20.0, -30.0};
    EXPECT_EQ(DeltaE2000(lab, lab), 0.0);
    // At L* 50 the lightness weight is 1, so a pure lightness step is itself,
    // divided by kL.
    const double lower[3] = {49.0, 0.0, 0.0};
    const double upper[3] = {51.0, 0.0, 0.0};
    const double step = DeltaE2000(lower, upper);
    EXPECT_NEAR(DeltaE2000(lower, upper, 2.0, 1.0, 1.0), step / 2.0, 1e-12);
}

TEST(DeltaE94, HandComputedLightnessChromaAndHueSteps)
{
    const double reference[3] = {50.0, 30.0, 0.0};
    const double lighter[3] = {55.0, 30.0, 0.0};
    EXPECT_NEAR(DeltaE94(reference, lighter), 5.0, 1e-12);
    EXPECT_NEAR(DeltaE94(reference, lighter, Cie94Application::Textiles), 2.5, 1e-12);
    // Chroma 30 -> 40: 10 / (1 + 0.045 * 30); the other way round 10 / (1 + 0.045 * 40).
    const double stronger[3] = {50.0, 40.0, 0.0};
    EXPECT_NEAR(DeltaE94(reference, stronger), 10.0 / 2.35, 1e-12);
    EXPECT_NEAR(DeltaE94(stronger, reference), 10.0 / 2.8, 1e-12);
    // Same chroma, hue turned by 90 degrees: sqrt(1800) / (1 + 0.015 * 30).
    const double turned[3] = {50.0, 0.0, 30.0};
    EXPECT_NEAR(DeltaE94(reference, turned), 29.2595909457, 1e-9);
    EXPECT_NEAR(DeltaE94(reference, turned, Cie94Application::Textiles), 29.8777513177, 1e-9);
}

TEST(DeltaE94, GeneralPairAgainstIndependentComputation)
{
    const double reference[3] = {60.0, 30.0, 20.0};
    const double sample[3] = {62.0, 28.0, 25.0};
    EXPECT_NEAR(DeltaE94(reference, sample), 3.9509215597, 1e-9);
    EXPECT_NEAR(DeltaE94(reference, sample, Cie94Application::Textiles), 3.6238880355, 1e-9);
    EXPECT_NEAR(DeltaE94(sample, reference), 3.9083850379, 1e-9);
}

TEST(DeltaECMC, DarkLightnessUsesTheFixedWeight)
{
    // L* below 16: SL = 0.511.
    const double reference[3] = {10.0, 0.0, 0.0};
    const double sample[3] = {12.0, 0.0, 0.0};
    EXPECT_NEAR(DeltaECMC(reference, sample), 2.0 / (2.0 * 0.511), 1e-9);
    EXPECT_NEAR(DeltaECMC(reference, sample, 1.0, 1.0), 2.0 / 0.511, 1e-9);
}

TEST(DeltaECMC, ChromaAndHueWeightsOnBothSidesOfTheHueBand)
{
    // Neutral reference: SC = 0.638, and (3, 4) is a pure chroma step of 5.
    const double neutral[3] = {50.0, 0.0, 0.0};
    const double coloured[3] = {50.0, 3.0, 4.0};
    EXPECT_NEAR(DeltaECMC(neutral, coloured), 5.0 / 0.638, 1e-9);
    // Hue 180 (inside 164..345) and hue 45 (outside), values computed separately.
    const double green[3] = {50.0, -20.0, 0.0};
    const double greenTurned[3] = {50.0, -20.0 * std::cos(10.0 * kRadiansPerDegree), -20.0 * std::sin(10.0 * kRadiansPerDegree)};
    EXPECT_NEAR(DeltaECMC(green, greenTurned), 2.7923896301, 1e-9);
    const double orange[3] = {40.0, 10.0, 10.0};
    const double orangeTurned[3] = {40.0, 9.644913303165948, 10.342903237215967};
    EXPECT_NEAR(DeltaECMC(orange, orangeTurned), 0.7971693412, 1e-9);
    const double reference[3] = {60.0, 30.0, 20.0};
    const double sample[3] = {62.0, 28.0, 25.0};
    EXPECT_NEAR(DeltaECMC(reference, sample), 4.7758911273, 1e-9);
    EXPECT_NEAR(DeltaECMC(reference, sample, 1.0, 1.0), 4.9913292402, 1e-9);
}
