#include <cmath>

#include <QJsonArray>
#include <gtest/gtest.h>

#include "colour/weight_reader.h"
#include "colour/weighting_tables.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

// (That the sums of every table reproduce its white point is checked through
// SpectrumToXYZ of a perfect white, in test_colorimetry.cpp.)

TEST(WeightingTables, ReadingRuleWrapsOnlyLargeNegativesOfTheF12XRows)
{
    // Index, row, stored value, weight it stands for.
    const int cases[][4] = {
        {14, kRowX, -5, -5},         {15, kRowX, -1000, -1000},   {14, kRowX, -1001, 64535},
        {15, kRowX, -27923, 37613},  {14, kRowX, -32768, 32768},  {14, kRowX, 32767, 32767},
        {14, kRowY, -1934, -1934},   {15, kRowZ, -1464, -1464},   {13, kRowX, -2000, -2000},
        {16, kRowX, -2000, -2000},
    };
    for (const auto& c : cases)
        EXPECT_EQ(DecodeStoredWeight(c[0], c[1], std::int16_t(c[2])), c[3]) << c[0] << " row " << c[1] << " " << c[2];
}

TEST(WeightingTables, PublishedTablesAreFoldedAtTheRangeEnds)
{
    // Refolds the copied E308 data (360..780 nm) independently: the weights
    // below 400 nm belong to 400 nm, those above 700 nm to 700 nm.
    const QJsonObject tables = colourData("astm-e308-table6.json").value("tables").toObject();
    const char* keys[kIlluminantCount] = {"A_2",   "A_10",   "C_2",   "C_10",   "D50_2", "D50_10",
                                          "D65_2", "D65_10", "F2_2",  "F2_10",  "F7_2",  "F7_10",
                                          "F11_2", "F11_10", nullptr, nullptr,  "D75_2", "D75_10"};
    for (int index = 0; index < kIlluminantCount; ++index) {
        for (int row = 0; keys[index] && row < 3; ++row) {
            const QJsonArray values = tables.value(keys[index]).toObject().value(QString("xyz"[row])).toArray();
            ASSERT_EQ(values.size(), 43) << keys[index];
            for (int i = 0; i < kSpectrumLength; ++i) {
                const int from = i == 0 ? 0 : i + 4;
                const int to = i == kSpectrumLength - 1 ? 42 : i + 4;
                double expected = 0.0;
                for (int k = from; k <= to; ++k)
                    expected += values.at(k).toDouble();
                EXPECT_EQ(kStoredWeights[index][row][i], std::lround(expected * 1000.0))
                    << keys[index] << " " << "xyz"[row] << " at " << 400 + 10 * i << " nm";
            }
        }
    }
}
