#include <QJsonArray>
#include <gtest/gtest.h>

#include "colour/colour_difference.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

namespace {

using Lab = std::array<double, 3>;

Lab labOf(const QJsonValue& value)
{
    const QJsonArray array = value.toArray();
    return {array.at(0).toDouble(), array.at(1).toDouble(), array.at(2).toDouble()};
}

}  // namespace

TEST(DeltaE2000, ReproducesThePublishedTestPairsBothWays)
{
    const QJsonArray pairs = colourData("ciede2000-sharma-wu-dalal.json").value("pairs").toArray();
    ASSERT_EQ(pairs.size(), 34);
    for (const QJsonValue& value : pairs) {
        const QJsonObject pair = value.toObject();
        const Lab lab1 = labOf(pair.value("lab1"));
        const Lab lab2 = labOf(pair.value("lab2"));
        const double expected = pair.value("dE00").toDouble();
        EXPECT_NEAR(DeltaE2000(lab1.data(), lab2.data()), expected, 1e-4) << "pair " << pair.value("n").toInt();
        EXPECT_NEAR(DeltaE2000(lab2.data(), lab1.data()), expected, 1e-4) << "pair " << pair.value("n").toInt();
    }
    // At L* 50 the lightness weight is 1: a lightness step of 2 is 2, halved by kL 2.
    const Lab lower{49.0, 0.0, 0.0};
    const Lab upper{51.0, 0.0, 0.0};
    EXPECT_NEAR(DeltaE2000(lower.data(), upper.data(), 2.0, 1.0, 1.0), 1.0, 1e-12);
}

// Values computed separately; CIE94 and CMC weigh by the reference, so they
// are not symmetric.
TEST(DeltaE94AndCMC, KnownValues)
{
    const Lab grey{50.0, 0.0, 0.0};
    const Lab red{50.0, 30.0, 0.0};
    const Lab redLighter{55.0, 30.0, 0.0};
    const Lab redStronger{50.0, 40.0, 0.0};
    const Lab yellowTurned{50.0, 0.0, 30.0};
    const Lab reference{60.0, 30.0, 20.0};
    const Lab sample{62.0, 28.0, 25.0};
    const auto graphicArts = [](const Lab& a, const Lab& b) { return DeltaE94(a.data(), b.data()); };
    const auto textiles = [](const Lab& a, const Lab& b) {
        return DeltaE94(a.data(), b.data(), Cie94Application::Textiles);
    };
    EXPECT_NEAR(graphicArts(red, redLighter), 5.0, 1e-12);
    EXPECT_NEAR(textiles(red, redLighter), 2.5, 1e-12);
    EXPECT_NEAR(graphicArts(red, redStronger), 10.0 / 2.35, 1e-12);
    EXPECT_NEAR(graphicArts(redStronger, red), 10.0 / 2.8, 1e-12);
    EXPECT_NEAR(graphicArts(red, yellowTurned), 29.2595909457, 1e-9);
    EXPECT_NEAR(textiles(red, yellowTurned), 29.8777513177, 1e-9);
    EXPECT_NEAR(graphicArts(reference, sample), 3.9509215597, 1e-9);
    EXPECT_NEAR(textiles(reference, sample), 3.6238880355, 1e-9);

    // CMC: reference, sample, l, c, value. L* below 16 has the fixed SL 0.511; a
    // neutral reference SC 0.638; hues 180 and 45 lie inside and outside 164..345.
    const std::tuple<Lab, Lab, double, double, double> cmc[] = {
        {{10.0, 0.0, 0.0}, {12.0, 0.0, 0.0}, 2.0, 1.0, 2.0 / (2.0 * 0.511)},
        {{10.0, 0.0, 0.0}, {12.0, 0.0, 0.0}, 1.0, 1.0, 2.0 / 0.511},
        {grey, {50.0, 3.0, 4.0}, 2.0, 1.0, 5.0 / 0.638},
        {{50.0, -20.0, 0.0}, {50.0, -19.696155060244, -3.472963553339}, 2.0, 1.0, 2.7923896301},
        {{40.0, 10.0, 10.0}, {40.0, 9.644913303165948, 10.342903237215967}, 2.0, 1.0, 0.7971693412},
        {reference, sample, 2.0, 1.0, 4.7758911273},
        {reference, sample, 1.0, 1.0, 4.9913292402},
    };
    for (const auto& [ref, test, l, c, expected] : cmc)
        EXPECT_NEAR(DeltaECMC(ref.data(), test.data(), l, c), expected, 1e-9) << ref[1] << " " << ref[2];
}
