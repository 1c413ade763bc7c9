#include "renderer/random.h"

#include <gtest/gtest.h>

#include <cmath>

namespace brairu {
namespace {

TEST(RandomTest, GivesTheSameNumbersOnEveryMachine) {
    Random random{1, 2, 3};
    EXPECT_EQ(random.next(), 0x5D2A94356685DA1BU);
}

TEST(RandomTest, StreamsOfDifferentKeysDiffer) {
    Random first{1, 2};
    Random second{2, 1};
    EXPECT_NE(first.next(), second.next());
}

TEST(RandomTest, UniformStaysInItsRange) {
    Random random{5};
    for (int i = 0; i < 10000; ++i) {
        const float value = random.uniform(-2.0f, 3.0f);
        ASSERT_GE(value, -2.0f);
        ASSERT_LE(value, 3.0f);
    }
}

TEST(RandomTest, NormalHasTheDeviationAskedFor) {
    Random random{6};
    double sum = 0.0;
    double squares = 0.0;
    constexpr int kDraws = 20000;
    for (int i = 0; i < kDraws; ++i) {
        const auto value = static_cast<double>(random.normal(2.0f));
        sum += value;
        squares += value * value;
    }
    EXPECT_NEAR(sum / kDraws, 0.0, 0.06);
    EXPECT_NEAR(std::sqrt(squares / kDraws), 2.0, 0.06);
}

TEST(RandomTest, BelowReachesEveryNumberAndNoOther) {
    Random random{7};
    int counts[5] = {};
    for (int i = 0; i < 1000; ++i) {
        const int value = random.below(5);
        ASSERT_GE(value, 0);
        ASSERT_LT(value, 5);
        ++counts[value];
    }
    for (const int count : counts) {
        EXPECT_GT(count, 100);
    }
}

}  // namespace
}  // namespace brairu
