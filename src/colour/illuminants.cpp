#include "colour/illuminants.h"

namespace vireo2::colour {

namespace {

struct IlluminantEntry {
    const char* name;
    IlluminantWhite white;
};

// The white points are the ones L*a*b* and Hunter Lab are computed against;
// the weighting tables reproduce them (exactly for the two F12 entries).
const IlluminantEntry kIlluminants[kWeightTableEntries] = {
    {"A/2", {109.850, 100.000, 35.585, 185.21, 38.41}},
    {"A/10", {111.144, 100.000, 35.200, 186.30, 38.20}},
    {"C/2", {98.074, 100.000, 118.232, 175.00, 70.00}},
    {"C/10", {97.285, 100.000, 116.145, 174.30, 69.38}},
    {"D50/2", {96.422, 100.000, 82.521, 173.52, 58.48}},
    {"D50/10", {96.720, 100.000, 81.427, 173.79, 58.10}},
    {"D65/2", {95.047, 100.000, 108.883, 172.28, 67.18}},
    {"D65/10", {94.811, 100.000, 107.304, 172.06, 66.69}},
    {"F2/2", {99.186, 100.000, 67.393, 175.99, 52.85}},
    {"F2/10", {103.279, 100.000, 69.027, 179.59, 53.49}},
    {"F7/2", {95.041, 100.000, 108.747, 172.28, 67.14}},
    {"F7/10", {95.792, 100.000, 107.686, 172.95, 66.81}},
    {"F11/2", {100.962, 100.000, 64.350, 177.56, 51.65}},
    {"F11/10", {103.863, 100.000, 65.607, 180.10, 52.16}},
    {"F12/2", {108.112, 100.005, 39.245, 183.74, 40.33}},
    {"F12/10", {111.379, 99.997, 40.365, 186.50, 40.91}},
    {"D75/2", {94.972, 100.000, 122.638, 172.18, 71.34}},
    {"D75/10", {94.416, 100.000, 120.641, 171.45, 70.79}},
    {nullptr, {0.0, 0.0, 0.0, 0.0, 0.0}},
    {nullptr, {0.0, 0.0, 0.0, 0.0, 0.0}},
};

}  // namespace

bool IsValidIlluminant(int index) noexcept
{
    return index >= 0 && index < kIlluminantCount;
}

const IlluminantWhite& WhitePoint(int index) noexcept
{
    return IsValidIlluminant(index) ? kIlluminants[index].white : kIlluminants[kIlluminantCount].white;
}

const char* IlluminantName(int index) noexcept
{
    return IsValidIlluminant(index) ? kIlluminants[index].name : nullptr;
}

}  // namespace vireo2::colour
