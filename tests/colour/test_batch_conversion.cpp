#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "colour/batch_conversion.h"

using vireo2::colour::fastCubeRoot;

// The inline cube root agrees with the C library's to the last bits over the
// whole range it serves, and hands the values it does not serve on.
TEST(FastCubeRoot, MatchesTheLibraryCubeRoot)
{
    for (double x = 1e-12; x < 1e12; x *= 1.0137)
        ASSERT_NEAR(fastCubeRoot(x), std::cbrt(x), 1e-15 * std::cbrt(x)) << x;
    for (double x : {0.008856, 0.0088560001, 1.0, 8.0, 27.0, 0.125})
        EXPECT_NEAR(fastCubeRoot(x), std::cbrt(x), 1e-15 * std::cbrt(x)) << x;
    EXPECT_EQ(fastCubeRoot(0.0), 0.0);
    EXPECT_EQ(fastCubeRoot(-8.0), -2.0);
    EXPECT_TRUE(std::isinf(fastCubeRoot(std::numeric_limits<double>::infinity())));
    EXPECT_TRUE(std::isnan(fastCubeRoot(std::nan(""))));
}
