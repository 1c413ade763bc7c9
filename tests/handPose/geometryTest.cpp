#include "handPose/geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "support/seededRandom.h"

namespace brairu {
namespace {

using Points = std::vector<cv::Point>;

// Seven points of which only 2 and 5 matter to the direction.
Points withBases(cv::Point index, cv::Point little) {
    return {{1, 2}, {3, 40}, index, {57, 9}, {11, 13}, little, {90, 1}};
}

TEST(KeyPointsOf, KeepsTheOrderOfTheRecord) {
    PvaHandPose pose{};
    for (std::uint16_t i = 0; i < PVA_KEY_POINTS; ++i) {
        pose.keyPoints[i] = {static_cast<std::uint16_t>(10 * i),
                             static_cast<std::uint16_t>(65535 - i)};
    }
    const KeyPoints points = keyPointsOf(pose);
    EXPECT_EQ(points[0], cv::Point(0, 65535));
    EXPECT_EQ(points[6], cv::Point(60, 65529));
}

TEST(TurnOf, IsTheCrossProductOfTheWaysToPoints2And4) {
    EXPECT_EQ(turnOf(Points{{1, 1}, {0, 0}, {4, 1}, {0, 0}, {1, 6}}), 15.0f);
    EXPECT_EQ(turnOf(Points{{1, 1}, {0, 0}, {1, 6}, {0, 0}, {4, 1}}), -15.0f);
    EXPECT_EQ(turnOf(Points{{1, 1}, {0, 0}, {3, 3}, {0, 0}, {9, 9}}), 0.0f);
}

TEST(TurnOf, RefusesFewerThanFivePoints) {
    try {
        turnOf(Points(4));
        FAIL() << "nothing was raised";
    } catch (const std::invalid_argument& fault) {
        EXPECT_STREQ(fault.what(), "关键点数量不足，至少需要5个点。");
    }
    EXPECT_THROW(turnOf(Points()), std::invalid_argument);
    EXPECT_NO_THROW(turnOf(Points(5)));
}

TEST(FitLine, FindsTheLineThroughPointsOnOne) {
    const Line line = fitLine(Points{{0, 1}, {10, 21}, {20, 41}, {30, 61}});
    EXPECT_NEAR(line.slope, 2.0f, 1e-4f);
    EXPECT_NEAR(line.intercept, 1.0f, 1e-3f);
}

TEST(FitLine, MakesTheSquaresLeast) {
    const Line line = fitLine(Points{{0, 0}, {1, 2}, {2, 1}, {3, 3}});
    EXPECT_NEAR(line.slope, 0.8f, 1e-5f);
    EXPECT_NEAR(line.intercept, 0.3f, 1e-5f);
}

TEST(FitLine, TakesTheSolutionOfLeastNormForPointsAtOneX) {
    const Line line = fitLine(Points{{3, 10}, {3, 20}, {3, 30}, {3, 40}});
    EXPECT_NEAR(line.slope, 7.5f, 1e-4f);
    EXPECT_NEAR(line.intercept, 2.5f, 1e-4f);
}

TEST(FitLine, SurvivesEqualPoints) {
    const Line line = fitLine(Points(4, {0, 0}));
    EXPECT_EQ(line.slope, 0.0f);
    EXPECT_EQ(line.intercept, 0.0f);
}

struct Direction {
    cv::Point way;  // from point 2 to point 5
    float degrees;
    float backwards;
};

class DirectedLine : public testing::TestWithParam<Direction> {};

TEST_P(DirectedLine, PointsFromIndexToLittleFingerAndBackForTheOtherHand) {
    const cv::Point index(200, 300);
    const Points points = withBases(index, index + GetParam().way);
    EXPECT_FLOAT_EQ(fitDirectedLineFrom7Points(points, 0), GetParam().degrees);
    EXPECT_FLOAT_EQ(fitDirectedLineFrom7Points(points, 1), GetParam().backwards);
}

INSTANTIATE_TEST_SUITE_P(
    Ways, DirectedLine,
    testing::Values(Direction{{10, 0}, 0.0f, 180.0f}, Direction{{-10, 0}, 180.0f, 0.0f},
                    Direction{{0, 10}, 90.0f, -90.0f}, Direction{{0, -10}, -90.0f, 90.0f},
                    Direction{{10, 10}, 45.0f, -135.0f}, Direction{{-10, 10}, 135.0f, -45.0f}));

TEST(DirectedLineOf, IsZeroForEqualBases) {
    EXPECT_EQ(fitDirectedLineFrom7Points(withBases({5, 5}, {5, 5}), 0), 0.0f);
    EXPECT_EQ(fitDirectedLineFrom7Points(withBases({5, 5}, {5, 5}), 1), 0.0f);
}

TEST(DirectedLineOf, DoesNotDependOnTheOtherPoints) {
    Points points = withBases({10, 20}, {47, 31});
    const float degrees = fitDirectedLineFrom7Points(points, 0);
    points[3] = {900, 1};
    points[4] = {10, 700};
    EXPECT_EQ(fitDirectedLineFrom7Points(points, 0), degrees);
}

TEST(DirectedLineOf, DoesNotThrowWhenEveryBaseHasOneX) {
    const Points points(7, {8, 9});
    EXPECT_EQ(fitDirectedLineFrom7Points(points, 0), 0.0f);
}

TEST(DirectedLineOf, AbortsUnlessThereAreSevenPoints) {
    EXPECT_DEATH(fitDirectedLineFrom7Points(Points(6), 0),
                 "keyPoints must have exactly 7 points\\.");
    EXPECT_DEATH(fitDirectedLineFrom7Points(Points(8), 1),
                 "keyPoints must have exactly 7 points\\.");
}

TEST(DirectedLineOf, AgreesWithAPlainArcTangent) {
    test::SeededRandom random;
    for (int i = 0; i < 20'000; ++i) {
        const cv::Point index(random.between(0, 65535), random.between(0, 65535));
        const cv::Point little(random.between(0, 65535), random.between(0, 65535));
        const int orientation = random.between(0, 1);
        const cv::Point way = orientation == 0 ? little - index : index - little;
        const auto length = static_cast<float>(std::hypot(way.x, way.y));
        const float radians =
            std::atan2(static_cast<float>(way.y) / length, static_cast<float>(way.x) / length);
        const double expected = radians * 180.0 / 3.14159265358979323846;
        ASSERT_FLOAT_EQ(fitDirectedLineFrom7Points(withBases(index, little), orientation),
                        static_cast<float>(expected))
            << way << " " << orientation;
    }
}

}  // namespace
}  // namespace brairu
