#include "utils/convert.h"

#include <gtest/gtest.h>

#include <limits>

namespace brairu {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr int kMax = std::numeric_limits<int>::max();
constexpr int kMin = std::numeric_limits<int>::min();

TEST(TruncatedInt, CutsTowardsZero) {
    EXPECT_EQ(truncatedInt(2.9), 2);
    EXPECT_EQ(truncatedInt(-2.9), -2);
    EXPECT_EQ(truncatedInt(0.999999), 0);
    EXPECT_EQ(truncatedInt(-0.999999), 0);
}

TEST(TruncatedInt, KeepsTheWholeRangeOfInt) {
    EXPECT_EQ(truncatedInt(2147483646.5), kMax - 1);
    EXPECT_EQ(truncatedInt(2147483647.0), kMax);
    EXPECT_EQ(truncatedInt(-2147483648.0), kMin);
    EXPECT_EQ(truncatedInt(-2147483647.5), kMin + 1);
}

TEST(TruncatedInt, SaturatesBeyondIntAndTakesNanAsZero) {
    EXPECT_EQ(truncatedInt(1e300), kMax);
    EXPECT_EQ(truncatedInt(-1e300), kMin);
    EXPECT_EQ(truncatedInt(kInfinity), kMax);
    EXPECT_EQ(truncatedInt(-kInfinity), kMin);
    EXPECT_EQ(truncatedInt(kNan), 0);
}

TEST(WholePercent, MultipliesInSinglePrecision) {
    EXPECT_EQ(wholePercent(0.7f), 70);   // in double precision 69
    EXPECT_EQ(wholePercent(0.29f), 29);  // likewise 28
    EXPECT_EQ(wholePercent(0.605f), 60);
    EXPECT_EQ(wholePercent(-0.125f), -12);
}

TEST(WholePercent, SaturatesAndTakesNanAsZero) {
    EXPECT_EQ(wholePercent(1e30f), kMax);
    EXPECT_EQ(wholePercent(-1e30f), kMin);
    EXPECT_EQ(wholePercent(std::numeric_limits<float>::max()), kMax);
    EXPECT_EQ(wholePercent(std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(StoredCoordinate, CutsAndClampsBelowZero) {
    EXPECT_EQ(storedCoordinate(12.99), 12);
    EXPECT_EQ(storedCoordinate(-0.5), 0);
    EXPECT_EQ(storedCoordinate(-70000.0), 0);
    EXPECT_EQ(storedCoordinate(kNan), 0);
}

TEST(StoredCoordinate, KeepsTheLowSixteenBits) {
    EXPECT_EQ(storedCoordinate(65535.0), 65535);
    EXPECT_EQ(storedCoordinate(65536.0), 0);
    EXPECT_EQ(storedCoordinate(65541.5), 5);
    EXPECT_EQ(storedCoordinate(4294967295.0), 65535);
    EXPECT_EQ(storedCoordinate(kInfinity), 65535);
}

}  // namespace
}  // namespace brairu
