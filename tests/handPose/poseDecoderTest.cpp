#include "handPose/poseDecoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "support/poseOutput.h"
#include "support/seededRandom.h"

namespace brairu {
namespace {

using test::HandRow;
using test::kUprightHand;
using test::mirrored;
using test::NetworkPoint;
using test::PoseOutput;
using test::SeededRandom;

constexpr FrameSize kInput{128, 128};
constexpr OutputLayout kPlain{};
constexpr OutputLayout kConcat{4, 4.0f, false};

// ---- Layouts

TEST(OutputLayoutTest, StartsLikeOutput0) {
    EXPECT_EQ(kPlain.scoreOffset, 0);
    EXPECT_EQ(kPlain.coordScale, 1.0f);
    EXPECT_FALSE(kPlain.splitLayout);
}

TEST(OutputLayoutTest, FollowsTheNameOfTheOutput) {
    OutputLayout layout;
    layout.selectFor("/model.22/Concat_6");
    EXPECT_EQ(layout.scoreOffset, 4);
    EXPECT_EQ(layout.coordScale, 4.0f);
    EXPECT_FALSE(layout.splitLayout);
    layout.selectFor("/model.22/Split/1");
    EXPECT_EQ(layout.scoreOffset, 0);
    EXPECT_EQ(layout.coordScale, 1.0f);
    EXPECT_TRUE(layout.splitLayout);
    layout.selectFor("output0");
    EXPECT_EQ(layout.scoreOffset, 0);
    EXPECT_EQ(layout.coordScale, 1.0f);
    EXPECT_FALSE(layout.splitLayout);
}

TEST(OutputLayoutTest, StaysForEveryOtherName) {
    for (const char* name : {"", "output", "output00", "/model.22/Concat_", "Output0"}) {
        OutputLayout layout{4, 4.0f, true};
        layout.selectFor(name);
        EXPECT_EQ(layout.scoreOffset, 4) << name;
        EXPECT_EQ(layout.coordScale, 4.0f) << name;
        EXPECT_TRUE(layout.splitLayout) << name;
    }
}

TEST(OutputBytes, AreThoseOfTheConfiguredInput) {
    EXPECT_EQ(outputBytesFor({128, 128}), 10'752);
    EXPECT_EQ(outputBytesFor({256, 160}), 26'880);
    EXPECT_EQ(outputBytesFor({192, 128}), 16'128);
    EXPECT_EQ(outputBytesFor({192, 192}), 24'192);
}

TEST(OutputBytes, AreThoseOf256x160ForEveryOtherInput) {
    for (const FrameSize input : {FrameSize{160, 256}, {64, 64}, {128, 192}, {0, 0}, {-1, 128}}) {
        EXPECT_EQ(outputBytesFor(input), 26'880);
    }
}

// ---- The best row

std::vector<std::uint8_t> rowsScoring(const std::vector<int>& scores, int offset = 0) {
    PoseOutput output(static_cast<int>(scores.size()));
    for (std::size_t row = 0; row < scores.size(); ++row) {
        output.put(static_cast<int>(row), {scores[row], kUprightHand}, offset);
    }
    return output.bytes();
}

TEST(BestRowTest, IsTheOneOfTheLargestScore) {
    const auto best = bestRow(rowsScoring({3, 90, 7}), kPlain);
    ASSERT_TRUE(best);
    EXPECT_EQ(best->index, 1);
    EXPECT_EQ(best->score, 90);
}

TEST(BestRowTest, IsTheFirstOfEquals) {
    EXPECT_EQ(bestRow(rowsScoring({1, 80, 80, 80}), kPlain)->index, 1);
    EXPECT_EQ(bestRow(rowsScoring({0, 0, 0}), kPlain)->index, 0);
}

TEST(BestRowTest, ReadsScoresUnsigned) {
    const auto best = bestRow(rowsScoring({100, 200}), kPlain);
    EXPECT_EQ(best->index, 1);
    EXPECT_EQ(best->score, 200);
}

TEST(BestRowTest, ReadsScoresWhereTheLayoutHasThem) {
    EXPECT_EQ(bestRow(rowsScoring({1, 2, 25, 3}, 4), kConcat)->index, 2);
}

TEST(BestRowTest, LooksAtWholeRowsOnly) {
    std::vector<std::uint8_t> output = rowsScoring({10, 20, 200});
    output.resize(95);
    EXPECT_EQ(bestRow(output, kPlain)->index, 1);
    output.resize(31);
    EXPECT_FALSE(bestRow(output, kPlain));
    EXPECT_FALSE(bestRow({}, kPlain));
}

TEST(ScorePercent, IsTheByteTimesTheScale) {
    EXPECT_EQ(scorePercent({0, 61}, kPlain, false), 61);
    EXPECT_EQ(scorePercent({0, 25}, kConcat, false), 100);
    EXPECT_EQ(scorePercent({0, 255}, kConcat, false), 1020);
    EXPECT_EQ(scorePercent({0, 25}, {0, 2.5f, false}, false), 62);
}

TEST(ScorePercent, IsTenMoreWhenBoosted) {
    EXPECT_EQ(scorePercent({0, 50}, kPlain, true), 60);
    EXPECT_EQ(scorePercent({0, 0}, kPlain, true), 10);
}

// ---- Key points

PvaHandPose decoded(const HandRow& hand, FrameSize input, FrameSize frame,
                    const OutputLayout& layout = kPlain) {
    PoseOutput output(1);
    output.put(0, hand, layout.scoreOffset);
    PvaHandPose pose{};
    decodeKeyPoints(output.bytes(), 0, layout, input, frame, pose);
    return pose;
}

TEST(DecodeKeyPoints, ReadsXBeforeY) {
    HandRow hand;
    hand.points = {{{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}, {11, 12}, {13, 14}}};
    const PvaHandPose pose = decoded(hand, kInput, kInput);
    for (std::uint16_t i = 0; i < 7; ++i) {
        EXPECT_EQ(pose.keyPoints[i].x, 2 * i + 1);
        EXPECT_EQ(pose.keyPoints[i].y, 2 * i + 2);
    }
}

TEST(DecodeKeyPoints, ReadsTheRowThatWasChosen) {
    PoseOutput output(3);
    HandRow hand;
    hand.points.fill({21, 22});
    output.put(2, hand, 4);
    PvaHandPose pose{};
    decodeKeyPoints(output.bytes(), 2, {4, 1.0f, false}, kInput, kInput, pose);
    EXPECT_EQ(pose.keyPoints[6].x, 21);
    EXPECT_EQ(pose.keyPoints[6].y, 22);
}

TEST(DecodeKeyPoints, ScalesFromTheInputToTheFrame) {
    HandRow hand;
    hand.points.fill({100, 50});
    const PvaHandPose pose = decoded(hand, kInput, {640, 480});
    EXPECT_EQ(pose.keyPoints[0].x, 500);
    EXPECT_EQ(pose.keyPoints[0].y, 187) << "187.5 is cut";
}

TEST(DecodeKeyPoints, MultipliesByTheScaleOfTheLayout) {
    HandRow hand;
    hand.points.fill({40, 30});
    const PvaHandPose pose = decoded(hand, {256, 160}, {512, 160}, kConcat);
    EXPECT_EQ(pose.keyPoints[3].x, 320);
    EXPECT_EQ(pose.keyPoints[3].y, 120);
}

TEST(DecodeKeyPoints, TurnsNegativeCoordinatesIntoZero) {
    HandRow hand;
    hand.points.fill({-1, -128});
    const PvaHandPose pose = decoded(hand, kInput, {640, 480});
    EXPECT_EQ(pose.keyPoints[0].x, 0);
    EXPECT_EQ(pose.keyPoints[0].y, 0);
}

TEST(DecodeKeyPoints, KeepsTheLowSixteenBitsInLargeFrames) {
    HandRow hand;
    hand.points.fill({127, 1});
    const PvaHandPose pose = decoded(hand, kInput, {100'000, 128});
    EXPECT_EQ(pose.keyPoints[0].x, 99'218 - 65'536);
    EXPECT_EQ(pose.keyPoints[0].y, 1);
}

TEST(DecodeKeyPoints, LeavesTheRestOfTheRecordAlone) {
    PoseOutput output(1);
    PvaHandPose pose{};
    pose.centerX = 7;
    pose.placementCode = 8;
    pose.orientation = 9;
    decodeKeyPoints(output.bytes(), 0, kPlain, kInput, kInput, pose);
    EXPECT_EQ(pose.centerX, 7);
    EXPECT_EQ(pose.placementCode, 8u);
    EXPECT_EQ(pose.orientation, 9);
}

// ---- The box

// A record whose points span the given extents.
PvaHandPose spanning(int left, int right, int top, int bottom) {
    PvaHandPose pose{};
    for (PvaPoint& point : pose.keyPoints) {
        point = {static_cast<std::uint16_t>((left + right) / 2),
                 static_cast<std::uint16_t>((top + bottom) / 2)};
    }
    pose.keyPoints[1] = {static_cast<std::uint16_t>(left), static_cast<std::uint16_t>(bottom)};
    pose.keyPoints[6] = {static_cast<std::uint16_t>(right), static_cast<std::uint16_t>(top)};
    return pose;
}

PvaHandPose enclosed(PvaHandPose pose) {
    encloseKeyPoints(pose);
    return pose;
}

TEST(EncloseKeyPoints, AddsATenthOnEachSideAndAFifthOfAll) {
    const PvaHandPose pose = enclosed(spanning(100, 200, 40, 90));
    EXPECT_EQ(pose.centerX, 150) << "from 90 to 210";
    EXPECT_EQ(pose.width, 144);
    EXPECT_EQ(pose.centerY, 65) << "from 35 to 95";
    EXPECT_EQ(pose.height, 72);
}

TEST(EncloseKeyPoints, CutsEveryStepToWholePixels) {
    const PvaHandPose pose = enclosed(spanning(42, 83, 44, 95));
    EXPECT_EQ(pose.centerX, 62) << "from 37.9 to 87.1: 37 + 50 / 2";
    EXPECT_EQ(pose.width, 60);
    EXPECT_EQ(pose.centerY, 69) << "from 38.9 to 100.1: 38 + 62 / 2";
    EXPECT_EQ(pose.height, 74) << "74.4";
}

TEST(EncloseKeyPoints, MakesNothingOfASinglePoint) {
    const PvaHandPose pose = enclosed(spanning(50, 50, 60, 60));
    EXPECT_EQ(pose.centerX, 50);
    EXPECT_EQ(pose.centerY, 60);
    EXPECT_EQ(pose.width, 0);
    EXPECT_EQ(pose.height, 0);
}

TEST(EncloseKeyPoints, WrapsALeftSideBelowZero) {
    const PvaHandPose pose = enclosed(spanning(0, 100, 0, 100));
    EXPECT_EQ(pose.centerX, 50) << "from -10, which is 65526, over 120 pixels";
    EXPECT_EQ(pose.width, 144);
}

TEST(EncloseKeyPoints, StartsTheSmallestAt9999) {
    const PvaHandPose pose = enclosed(spanning(20'000, 20'100, 20'000, 20'100));
    // From 9999 - 1010.1 to 20100 + 1010.1.
    EXPECT_EQ(pose.centerX, 8988 + (21'110 - 8988) / 2);
    EXPECT_EQ(pose.width, static_cast<int>((21'110 - 8988) * 1.2));
}

TEST(EncloseKeyPoints, WrapsBoxesThatAreTooWideForSixteenBits) {
    const PvaHandPose pose = enclosed(spanning(0, 65'535, 0, 60'000));
    // From -6553.5 to 72088.5: 78641 pixels, modulo 65536.
    EXPECT_EQ(pose.width, static_cast<int>((78'641 - 65'536) * 1.2));
    EXPECT_EQ(pose.height, static_cast<int>((72'000 - 65'536) * 1.2));
}

// ---- The tests of a hand

PvaHandPose handIn(FrameSize frame, const std::array<NetworkPoint, 7>& points) {
    PvaHandPose pose = decoded({90, points}, kInput, frame);
    encloseKeyPoints(pose);
    pose.orientation = 9;
    return pose;
}

TEST(JudgeHand, AcceptsAHandAndTellsItsSide) {
    PvaHandPose left = handIn({640, 480}, kUprightHand);
    EXPECT_TRUE(judgeHand(left, {640, 480}));
    EXPECT_EQ(left.orientation, 0);
    PvaHandPose right = handIn({640, 480}, mirrored(kUprightHand));
    EXPECT_TRUE(judgeHand(right, {640, 480}));
    EXPECT_EQ(right.orientation, 1);
}

TEST(JudgeHand, AcceptsAHandUpsideDown) {
    std::array<NetworkPoint, 7> points = kUprightHand;
    for (NetworkPoint& point : points) {
        point = {127 - point.x, 127 - point.y};
    }
    PvaHandPose pose = handIn(kInput, points);
    EXPECT_TRUE(judgeHand(pose, kInput));
    EXPECT_EQ(pose.orientation, 0) << "a turn does not change the side";
}

TEST(JudgeHand, NeedsThePalmOnTheOtherSideThanTheFingers) {
    for (const int point : {3, 4}) {
        std::array<NetworkPoint, 7> points = kUprightHand;
        points[static_cast<std::size_t>(point)].y = 60;
        PvaHandPose pose = handIn(kInput, points);
        EXPECT_FALSE(judgeHand(pose, kInput)) << point;
        EXPECT_EQ(pose.orientation, 9) << "not written";
    }
    std::array<NetworkPoint, 7> points = kUprightHand;
    points[0].y = 45;
    PvaHandPose pose = handIn(kInput, points);
    EXPECT_FALSE(judgeHand(pose, kInput));
}

TEST(JudgeHand, CountsAPointOnTheLineAsNotNegative) {
    std::array<NetworkPoint, 7> points = kUprightHand;
    points[2] = {45, 50};
    points[5] = {83, 50};
    points[3].y = 50;
    points[4].y = 50;
    PvaHandPose below = handIn(kInput, points);
    EXPECT_TRUE(judgeHand(below, kInput)) << "palm negative, fingers on the line";
    points[0].y = 50;
    PvaHandPose onLine = handIn(kInput, points);
    EXPECT_FALSE(judgeHand(onLine, kInput)) << "all three on the line";
}

TEST(JudgeHand, FollowsIeeeWhereTheBasesHaveOneX) {
    std::array<NetworkPoint, 7> points = kUprightHand;
    points[2] = {64, 46};
    points[5] = {64, 46};
    points[0] = {64, 72};
    PvaHandPose pose = handIn(kInput, points);
    EXPECT_FALSE(judgeHand(pose, kInput)) << "0 / 0: NaN is not negative, three times";

    // A slope of +infinity: what lies left is negative, what lies right is not, on the line is NaN.
    points = kUprightHand;
    points[2] = {64, 90};
    points[5] = {64, 50};
    points[0] = {50, 72};
    points[3] = {70, 60};
    points[4] = {64, 60};
    points[1] = {60, 10};
    PvaHandPose upright = handIn({100, 200}, points);
    upright.width = upright.height = 10;
    const double slope = (upright.keyPoints[2].y - upright.keyPoints[5].y) / 0.0;
    ASSERT_GT(slope, 0.0);
    EXPECT_TRUE(judgeHand(upright, {100, 200}));
}

TEST(JudgeHand, RefusesBoxesFromFourFifthsOfTheFrameOn) {
    PvaHandPose pose = handIn(kInput, kUprightHand);
    pose.width = 79;
    pose.height = 79;
    EXPECT_TRUE(judgeHand(pose, {100, 100}));
    pose.width = 80;
    EXPECT_FALSE(judgeHand(pose, {100, 100}));
    pose.width = 79;
    pose.height = 80;
    EXPECT_FALSE(judgeHand(pose, {100, 100}));
    pose.height = 79;
    EXPECT_FALSE(judgeHand(pose, {99, 100})) << "0.8 x 99 is cut to 79";
}

TEST(JudgeHand, NeedsASpanOfHalfTheBoxHeight) {
    PvaHandPose pose = handIn(kInput, kUprightHand);
    pose.keyPoints[1] = {pose.keyPoints[2].x, static_cast<std::uint16_t>(pose.keyPoints[2].y + 50)};
    pose.width = 50;
    pose.height = 100;
    EXPECT_TRUE(judgeHand(pose, {640, 480})) << "50 of 100";
    pose.height = 101;
    EXPECT_FALSE(judgeHand(pose, {640, 480}));
}

TEST(JudgeHand, CutsTheSpanToWholePixels) {
    PvaHandPose pose = handIn(kInput, kUprightHand);
    pose.keyPoints[1] = {static_cast<std::uint16_t>(pose.keyPoints[2].x - 7),
                         static_cast<std::uint16_t>(pose.keyPoints[2].y + 49)};  // 49.497
    pose.height = 99;
    EXPECT_FALSE(judgeHand(pose, {640, 480}));
    pose.height = 98;
    EXPECT_TRUE(judgeHand(pose, {640, 480}));
}

TEST(JudgeHand, TakesABoxWithoutHeightByIeee) {
    PvaHandPose pose = handIn(kInput, kUprightHand);
    pose.height = 0;
    EXPECT_TRUE(judgeHand(pose, {640, 480})) << "a span over 0 is infinite";
    pose.keyPoints[1] = pose.keyPoints[2];
    EXPECT_FALSE(judgeHand(pose, {640, 480})) << "0 / 0 is not";
}

// ---- A plain second decoder

struct Decoding {
    int row = -1;
    int score = 0;
    bool usable = false;
    PvaHandPose pose{};
};

struct PlainBoxSide {
    unsigned centre;
    unsigned length;
};

PlainBoxSide plainSide(std::vector<int> values) {
    std::sort(values.begin(), values.end());
    const int low = std::min(values.front(), 9999);
    const int high = values.back();
    const float margin = 0.1f * static_cast<float>(high - low);
    const unsigned begin =
        static_cast<unsigned>(static_cast<int>(static_cast<float>(low) - margin)) & 0xffff;
    const unsigned end =
        static_cast<unsigned>(static_cast<int>(static_cast<float>(high) + margin)) & 0xffff;
    const unsigned length = (end - begin) & 0xffff;
    return {(begin + (length >> 1)) & 0xffff, static_cast<unsigned>(length * 1.2) & 0xffff};
}

unsigned plainCoordinate(int byte, float scale, int frame, int input) {
    const int q = byte >= 128 ? byte - 256 : byte;
    if (q <= 0) {
        return 0;
    }
    const float value =
        static_cast<float>(q) * scale * static_cast<float>(frame) / static_cast<float>(input);
    return static_cast<unsigned>(static_cast<unsigned long>(value) & 0xffff);
}

bool plainUsable(PvaHandPose& pose, FrameSize frame) {
    const auto x = [&](int i) { return static_cast<int>(pose.keyPoints[i].x); };
    const auto y = [&](int i) { return static_cast<int>(pose.keyPoints[i].y); };
    const double rise = y(2) - y(5);
    const double m = rise / (x(2) - x(5));
    const auto negative = [&](int i) {
        const double d = y(2) + (x(i) - x(2)) * m - y(i);
        return static_cast<float>(d) < 0;
    };
    const int fingersNegative = (negative(3) ? 1 : 0) + (negative(4) ? 1 : 0);
    const bool apart = fingersNegative == (negative(0) ? 0 : 2);
    const bool fits = pose.width < static_cast<int>(0.8 * frame.width) &&
                      pose.height < static_cast<int>(0.8 * frame.height);
    const double square = std::pow(x(1) - x(2), 2) + std::pow(y(1) - y(2), 2);
    const auto span = static_cast<float>(static_cast<int>(std::sqrt(square)));
    if (!apart || !fits || !(span / static_cast<float>(pose.height) >= 0.5f)) {
        return false;
    }
    const float turn = static_cast<float>(x(2) - x(0)) * static_cast<float>(y(4) - y(0)) -
                       static_cast<float>(y(2) - y(0)) * static_cast<float>(x(4) - x(0));
    pose.orientation = turn > 0 ? 0 : 1;
    return true;
}

Decoding plainDecoding(const std::vector<std::uint8_t>& output, const OutputLayout& layout,
                       FrameSize input, FrameSize frame) {
    std::vector<int> rows(output.size() / 32);
    std::iota(rows.begin(), rows.end(), 0);
    const auto byteOf = [&](int row, int i) {
        return static_cast<int>(
            output[static_cast<std::size_t>(32 * row + layout.scoreOffset + i)]);
    };
    Decoding result;
    result.row = *std::max_element(rows.begin(), rows.end(),
                                   [&](int a, int b) { return byteOf(a, 0) < byteOf(b, 0); });
    result.score = byteOf(result.row, 0) * static_cast<int>(layout.coordScale);
    std::vector<int> xs;
    std::vector<int> ys;
    for (int i = 0; i < 7; ++i) {
        xs.push_back(static_cast<int>(plainCoordinate(
            byteOf(result.row, 2 * i + 1), layout.coordScale, frame.width, input.width)));
        ys.push_back(static_cast<int>(plainCoordinate(
            byteOf(result.row, 2 * i + 2), layout.coordScale, frame.height, input.height)));
        result.pose.keyPoints[i] = {static_cast<std::uint16_t>(xs.back()),
                                    static_cast<std::uint16_t>(ys.back())};
    }
    const PlainBoxSide across = plainSide(xs);
    const PlainBoxSide down = plainSide(ys);
    result.pose.centerX = static_cast<std::uint16_t>(across.centre);
    result.pose.width = static_cast<std::uint16_t>(across.length);
    result.pose.centerY = static_cast<std::uint16_t>(down.centre);
    result.pose.height = static_cast<std::uint16_t>(down.length);
    result.usable = plainUsable(result.pose, frame);
    return result;
}

Decoding decoding(const std::vector<std::uint8_t>& output, const OutputLayout& layout,
                  FrameSize input, FrameSize frame) {
    const BestRow best = bestRow(output, layout).value();
    Decoding result;
    result.row = best.index;
    result.score = scorePercent(best, layout, false);
    decodeKeyPoints(output, best.index, layout, input, frame, result.pose);
    encloseKeyPoints(result.pose);
    result.usable = judgeHand(result.pose, frame);
    return result;
}

void expectEqual(const Decoding& actual, const Decoding& expected, int number) {
    ASSERT_EQ(actual.row, expected.row) << "case " << number;
    ASSERT_EQ(actual.score, expected.score) << "case " << number;
    ASSERT_EQ(actual.usable, expected.usable) << "case " << number;
    for (int i = 0; i < 7; ++i) {
        ASSERT_EQ(actual.pose.keyPoints[i].x, expected.pose.keyPoints[i].x) << "case " << number;
        ASSERT_EQ(actual.pose.keyPoints[i].y, expected.pose.keyPoints[i].y) << "case " << number;
    }
    ASSERT_EQ(actual.pose.centerX, expected.pose.centerX) << "case " << number;
    ASSERT_EQ(actual.pose.centerY, expected.pose.centerY) << "case " << number;
    ASSERT_EQ(actual.pose.width, expected.pose.width) << "case " << number;
    ASSERT_EQ(actual.pose.height, expected.pose.height) << "case " << number;
    ASSERT_EQ(actual.pose.orientation, expected.pose.orientation) << "case " << number;
}

std::vector<std::uint8_t> randomBytes(std::size_t count, SeededRandom& random) {
    std::vector<std::uint8_t> bytes(count);
    for (std::uint8_t& byte : bytes) {
        byte = random.byte();
    }
    return bytes;
}

TEST(Decoding, AgreesWithAPlainSecondDecoderOnRandomBytes) {
    SeededRandom random;
    const std::array<FrameSize, 5> inputs{
        {{128, 128}, {256, 160}, {192, 128}, {192, 192}, {90, 70}}};
    for (int i = 0; i < 3000; ++i) {
        const OutputLayout layout = random.coin() ? kConcat : kPlain;
        const FrameSize input = inputs[static_cast<std::size_t>(random.between(0, 4))];
        const FrameSize frame{random.between(1, 2000), random.between(1, 80'000)};
        const auto bytes = randomBytes(static_cast<std::size_t>(random.between(32, 3200)), random);
        expectEqual(decoding(bytes, layout, input, frame),
                    plainDecoding(bytes, layout, input, frame), i);
    }
}

TEST(Decoding, AgreesWithAPlainSecondDecoderOnHandsThatAreNearlyRight) {
    SeededRandom random;
    int usable = 0;
    constexpr int kCases = 20'000;
    for (int i = 0; i < kCases; ++i) {
        HandRow hand{random.between(1, 255), random.coin() ? kUprightHand : mirrored(kUprightHand)};
        const int shake = random.between(0, 12);
        for (NetworkPoint& point : hand.points) {
            point.x += random.between(-shake, shake);
            point.y += random.between(-shake, shake);
        }
        PoseOutput output(3);
        output.put(random.between(0, 2), hand);
        const FrameSize frame{random.between(50, 1300), random.between(50, 1300)};
        const Decoding expected = plainDecoding(output.bytes(), kPlain, kInput, frame);
        expectEqual(decoding(output.bytes(), kPlain, kInput, frame), expected, i);
        usable += expected.usable ? 1 : 0;
    }
    EXPECT_GT(usable, kCases / 10) << "too few usable hands to mean anything";
    EXPECT_LT(usable, kCases * 9 / 10);
}

}  // namespace
}  // namespace brairu
