#pragma once

#include <cstdint>

#include "colour/illuminants.h"

namespace vireo2::colour {

// Rows of the weighting table of one combination.
enum WeightRow { kRowX = 0, kRowY = 1, kRowZ = 2 };

// Weights of one combination as read from the stored table, as doubles.
struct IlluminantWeights {
    double row[3][kSpectrumLength];
};

// The weight a stored 16-bit value stands for. In the x rows of entries 14
// and 15 a value below -1000 is read as value + 65536; everything else is
// read as signed.
int DecodeStoredWeight(int index, int row, std::int16_t stored) noexcept;

// Decoded weights of a combination; all zero for an index outside 0..17.
const IlluminantWeights& WeightsOf(int index) noexcept;

}  // namespace vireo2::colour
