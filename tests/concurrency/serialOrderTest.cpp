// The search itself, on a model of one number that calls write and read.
#include "serialOrder.h"

#include <gtest/gtest.h>

namespace brairu::test {
namespace {

using Call = RecordedCall<int>;

Call writes(int value, std::uint64_t invoked, std::uint64_t returned) {
    return {invoked, returned, [value](int& number) {
                number = value;
                return true;
            }};
}

Call reads(int value, std::uint64_t invoked, std::uint64_t returned) {
    return {invoked, returned, [value](int& number) { return number == value; }};
}

// Adds one and returns the sum.
Call counts(int sum, std::uint64_t invoked, std::uint64_t returned) {
    return {invoked, returned, [sum](int& number) { return ++number == sum; }};
}

bool isExplained(std::vector<Call> calls) {
    return SerialOrder<int>(std::move(calls)).explains(0);
}

TEST(SerialOrder, ExplainsNoCallsAtAll) {
    EXPECT_TRUE(isExplained({}));
}

TEST(SerialOrder, ExplainsCallsThatFollowEachOther) {
    EXPECT_TRUE(isExplained({reads(0, 1, 2), writes(5, 3, 4), reads(5, 5, 6)}));
}

TEST(SerialOrder, RefusesAValueThatNobodyWrote) {
    EXPECT_FALSE(isExplained({writes(5, 1, 2), reads(6, 3, 4)}));
}

TEST(SerialOrder, RefusesAStaleRead) {
    EXPECT_FALSE(isExplained({writes(5, 1, 2), reads(0, 3, 4)}));
}

TEST(SerialOrder, LetsAnOverlappingReadComeBeforeOrAfter) {
    EXPECT_TRUE(isExplained({writes(5, 1, 4), reads(0, 2, 3)}));
    EXPECT_TRUE(isExplained({writes(5, 1, 4), reads(5, 2, 3)}));
}

TEST(SerialOrder, RefusesReadsThatSeeAnOverlappingWriteComeAndGo) {
    EXPECT_FALSE(isExplained({writes(5, 1, 8), reads(5, 2, 3), reads(0, 4, 5)}));
}

TEST(SerialOrder, FindsAnOrderOtherThanThatOfTheRecord) {
    EXPECT_TRUE(isExplained({counts(3, 1, 9), counts(1, 1, 9), counts(2, 1, 9)}));
}

TEST(SerialOrder, RefusesAnUpdateThatWasLost) {
    EXPECT_FALSE(isExplained({counts(1, 1, 9), counts(1, 2, 8)}));
}

TEST(SerialOrder, StartsFromTheGivenModel) {
    SerialOrder<int> order({reads(7, 1, 2)});
    EXPECT_TRUE(order.explains(7));
    EXPECT_FALSE(order.explains(0));
}

// Without the memory this would be 12 factorial orders.
TEST(SerialOrder, LooksIntoEqualSituationsOnce) {
    std::vector<Call> calls(12, writes(5, 1, 9));
    calls.push_back(reads(6, 10, 11));
    SerialOrder<int> order(calls);
    EXPECT_FALSE(order.explains(0));
    EXPECT_EQ(order.reached(), std::size_t{1} << 12);
}

TEST(SerialOrder, Takes64Calls) {
    const std::vector<Call> calls(64, writes(5, 1, 9));
    EXPECT_TRUE(isExplained(calls));
    EXPECT_THROW(isExplained(std::vector<Call>(65, writes(5, 1, 9))), std::length_error);
}

}  // namespace
}  // namespace brairu::test
