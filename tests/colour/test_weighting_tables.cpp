#include <cmath>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

#include "colour/weight_reader.h"
#include "colour/weighting_tables.h"
#include "colour_test_support.h"

using namespace vireo2::colour;
using namespace vireo2::colour::test;

namespace {

double rowSum(int index, int row)
{
    double sum = 0.0;
    for (int i = 0; i < kSpectrumLength; ++i)
        sum += WeightsOf(index).row[row][i];
    return sum;
}

double whiteComponent(int index, int row)
{
    const IlluminantWhite& white = WhitePoint(index);
    return row == kRowX ? white.Xn : row == kRowY ? white.Yn : white.Zn;
}

bool isF12(int index)
{
    return index == 14 || index == 15;
}

}  // namespace

TEST(WeightingTables, SumsReproduceTheWhitePointOfEveryIndex)
{
    for (int index = 0; index < kIlluminantCount; ++index) {
        for (int row = 0; row < 3; ++row) {
            const double sum = rowSum(index, row);
            const double white = whiteComponent(index, row);
            if (isF12(index))
                EXPECT_EQ(std::lround(sum), std::lround(white * 1000.0)) << "index " << index << " row " << row;
            else
                EXPECT_NEAR(sum / 1000.0, white, 0.01) << "index " << index << " row " << row;
        }
        EXPECT_NEAR(rowSum(index, kRowY), 100000.0, 10.0) << "index " << index;
    }
}

TEST(WeightingTables, UnusedEntriesAndInvalidIndicesAreZero)
{
    for (int index : {18, 19}) {
        for (int row = 0; row < 3; ++row) {
            for (int i = 0; i < kSpectrumLength; ++i)
                EXPECT_EQ(kStoredWeights[index][row][i], 0);
        }
    }
    for (int index : {-1, 18, 19, 20, 255}) {
        for (int row = 0; row < 3; ++row)
            EXPECT_EQ(rowSum(index, row), 0.0) << "index " << index;
    }
    EXPECT_EQ(WhitePoint(18).Xn, 0.0);
    EXPECT_EQ(WhitePoint(-3).Yn, 0.0);
}

TEST(WeightingTables, ReadingRuleWrapsOnlyLargeNegativesOfTheF12XRows)
{
    EXPECT_EQ(DecodeStoredWeight(14, kRowX, -5), -5);
    EXPECT_EQ(DecodeStoredWeight(15, kRowX, -1000), -1000);
    EXPECT_EQ(DecodeStoredWeight(14, kRowX, -1001), 64535);
    EXPECT_EQ(DecodeStoredWeight(15, kRowX, -27923), 37613);
    EXPECT_EQ(DecodeStoredWeight(14, kRowX, -32768), 32768);
    EXPECT_EQ(DecodeStoredWeight(14, kRowX, 32767), 32767);
    // Other rows and other indices are read as signed.
    EXPECT_EQ(DecodeStoredWeight(14, kRowY, -1934), -1934);
    EXPECT_EQ(DecodeStoredWeight(15, kRowZ, -1464), -1464);
    EXPECT_EQ(DecodeStoredWeight(13, kRowX, -2000), -2000);
    EXPECT_EQ(DecodeStoredWeight(16, kRowX, -2000), -2000);
}

TEST(WeightingTables, F12XRowsNeedTheReadingRule)
{
    for (int index : {14, 15}) {
        int wrapped = 0;
        double largest = 0.0;
        for (int i = 0; i < kSpectrumLength; ++i) {
            if (kStoredWeights[index][kRowX][i] < -1000)
                ++wrapped;
            largest = std::max(largest, WeightsOf(index).row[kRowX][i]);
            // Decoded weights are plausible: no misread small negative.
            EXPECT_GE(WeightsOf(index).row[kRowX][i], -1000.0);
            EXPECT_LT(WeightsOf(index).row[kRowX][i], 45000.0);
        }
        EXPECT_GE(wrapped, 1) << "index " << index;
        EXPECT_GT(largest, 32767.0) << "index " << index;
    }
}

TEST(WeightingTables, PublishedTablesAreFoldedAtTheRangeEnds)
{
    // Refolds the copied E308 data independently and compares every stored weight.
    QFile file(colourDataFile("astm-e308-table6.json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonObject tables = QJsonDocument::fromJson(file.readAll()).object().value("tables").toObject();
    const char* keys[kIlluminantCount] = {"A_2",   "A_10",   "C_2",   "C_10",   "D50_2", "D50_10",
                                          "D65_2", "D65_10", "F2_2",  "F2_10",  "F7_2",  "F7_10",
                                          "F11_2", "F11_10", nullptr, nullptr,  "D75_2", "D75_10"};
    const char* rows[3] = {"x", "y", "z"};
    for (int index = 0; index < kIlluminantCount; ++index) {
        if (!keys[index])
            continue;
        const QJsonObject table = tables.value(keys[index]).toObject();
        for (int row = 0; row < 3; ++row) {
            const QJsonArray values = table.value(rows[row]).toArray();
            ASSERT_EQ(values.size(), 43);  // 360..780 nm
            for (int i = 0; i < kSpectrumLength; ++i) {
                double expected = values.at(i + 4).toDouble();
                if (i == 0) {
                    for (int below = 0; below < 4; ++below)
                        expected += values.at(below).toDouble();
                }
                if (i == kSpectrumLength - 1) {
                    for (int above = 35; above < 43; ++above)
                        expected += values.at(above).toDouble();
                }
                EXPECT_EQ(kStoredWeights[index][row][i], std::lround(expected * 1000.0))
                    << keys[index] << " " << rows[row] << " at " << 400 + 10 * i << " nm";
            }
        }
    }
}
