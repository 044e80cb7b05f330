#include "colour/weight_reader.h"

#include "colour/weighting_tables.h"

namespace vireo2::colour {

namespace {

constexpr int kWrappedFirstIndex = 14;
constexpr int kWrappedLastIndex = 15;
constexpr int kWrapThreshold = -1000;
constexpr int kWrapOffset = 65536;

struct DecodedTables {
    IlluminantWeights entry[kWeightTableEntries];
};

DecodedTables decodeAll() noexcept
{
    DecodedTables tables{};
    for (int index = 0; index < kIlluminantCount; ++index) {
        for (int row = 0; row < 3; ++row) {
            for (int position = 0; position < kSpectrumLength; ++position) {
                tables.entry[index].row[row][position] =
                    DecodeStoredWeight(index, row, kStoredWeights[index][row][position]);
            }
        }
    }
    return tables;
}

}  // namespace

int DecodeStoredWeight(int index, int row, std::int16_t stored) noexcept
{
    const bool wrappedRow = row == kRowX && index >= kWrappedFirstIndex && index <= kWrappedLastIndex;
    if (wrappedRow && stored < kWrapThreshold)
        return stored + kWrapOffset;
    return stored;
}

const IlluminantWeights& WeightsOf(int index) noexcept
{
    // Decoded once (thread-safe static initialisation) so that every
    // conversion reads plain doubles.
    static const DecodedTables tables = decodeAll();
    return tables.entry[IsValidIlluminant(index) ? index : kIlluminantCount];
}

}  // namespace vireo2::colour
