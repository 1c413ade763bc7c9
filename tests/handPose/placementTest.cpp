#include "handPose/placement.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "support/seededRandom.h"

namespace brairu {
namespace {

constexpr FrameSize kFrame{200, 100};

PvaHandPose boxAt(int centreX, int centreY, int width, int height) {
    PvaHandPose pose{};
    pose.centerX = static_cast<std::uint16_t>(centreX);
    pose.centerY = static_cast<std::uint16_t>(centreY);
    pose.width = static_cast<std::uint16_t>(width);
    pose.height = static_cast<std::uint16_t>(height);
    return pose;
}

// 10 % to every edge; boxes from 20 % x 30 % to 60 % x 70 %.
PlacementSettings someSettings() {
    return {0.1f, 0.1f, 0.2f, 0.6f, 0.3f, 0.7f};
}

std::uint32_t codeOf(const PvaHandPose& pose, FrameSize frame = kFrame,
                     PlacementSettings settings = someSettings()) {
    return placementCode(pose, frame, settings);
}

TEST(Placement, AcceptsABoxInTheMiddle) {
    EXPECT_EQ(codeOf(boxAt(100, 50, 80, 50)), 0u);
}

TEST(Placement, NamesTheEdgeThatIsTooClose) {
    EXPECT_EQ(codeOf(boxAt(50, 50, 80, 50)), 1u);
    EXPECT_EQ(codeOf(boxAt(150, 50, 80, 50)), 2u);
    EXPECT_EQ(codeOf(boxAt(100, 30, 80, 50)), 3u);
    EXPECT_EQ(codeOf(boxAt(100, 70, 80, 50)), 4u);
}

TEST(Placement, TakesAGapOfExactlyTheToleranceAsTooClose) {
    EXPECT_EQ(codeOf(boxAt(60, 50, 80, 50)), 1u) << "10 %";
    EXPECT_EQ(codeOf(boxAt(62, 50, 80, 50)), 0u) << "11 %";
    EXPECT_EQ(codeOf(boxAt(140, 50, 80, 50)), 2u);
    EXPECT_EQ(codeOf(boxAt(138, 50, 80, 50)), 0u);
    EXPECT_EQ(codeOf(boxAt(100, 35, 80, 50)), 3u);
    EXPECT_EQ(codeOf(boxAt(100, 36, 80, 50)), 0u);
    EXPECT_EQ(codeOf(boxAt(100, 65, 80, 50)), 4u);
    EXPECT_EQ(codeOf(boxAt(100, 64, 80, 50)), 0u);
}

TEST(Placement, CutsGapsToWholePercent) {
    EXPECT_EQ(codeOf(boxAt(61, 50, 80, 50)), 1u) << "10.5 % counts as 10 %";
}

TEST(Placement, NamesTheLeftEdgeForABoxThatLeavesTheFrame) {
    EXPECT_EQ(codeOf(boxAt(10, 50, 80, 50)), 1u);
    PlacementSettings none = someSettings();
    none.horizontalTolerance = 0.0f;
    EXPECT_EQ(codeOf(boxAt(39, 50, 80, 50), kFrame, none), 1u) << "-0.5 % is cut to 0";
}

TEST(Placement, TestsLeftThenTopThenRightThenBottom) {
    EXPECT_EQ(codeOf(boxAt(100, 50, 250, 120)), 1u) << "too close everywhere";
    EXPECT_EQ(codeOf(boxAt(190, 50, 80, 120)), 3u) << "top, right and bottom";
    EXPECT_EQ(codeOf(boxAt(190, 90, 80, 50)), 2u) << "right and bottom";
    EXPECT_EQ(codeOf(boxAt(20, 90, 80, 50)), 1u) << "left and bottom";
}

TEST(Placement, TestsEdgesBeforeSizes) {
    EXPECT_EQ(codeOf(boxAt(5, 50, 10, 10)), 1u);
}

TEST(Placement, HalvesOddSidesDownwards) {
    EXPECT_EQ(codeOf(boxAt(62, 50, 81, 51)), 0u);
}

TEST(Placement, NeedsBothSidesToCallAHandSmall) {
    EXPECT_EQ(codeOf(boxAt(100, 50, 38, 29)), 15u) << "19 % x 29 %";
    EXPECT_EQ(codeOf(boxAt(100, 50, 20, 50)), 0u) << "only the width is";
    EXPECT_EQ(codeOf(boxAt(100, 50, 80, 10)), 0u) << "only the height is";
}

TEST(Placement, NeedsBothSidesToCallAHandLarge) {
    EXPECT_EQ(codeOf(boxAt(100, 50, 122, 71)), 14u) << "61 % x 71 %";
    EXPECT_EQ(codeOf(boxAt(100, 50, 122, 70)), 0u);
    EXPECT_EQ(codeOf(boxAt(100, 50, 120, 71)), 0u);
}

TEST(Placement, AcceptsSizesOfExactlyTheLimit) {
    EXPECT_EQ(codeOf(boxAt(100, 50, 40, 30)), 0u);
    EXPECT_EQ(codeOf(boxAt(100, 50, 120, 70)), 0u);
}

TEST(Placement, LowersTheWidthLimitsOfPortraitFrames) {
    const FrameSize portrait{480, 640};
    PlacementSettings settings = someSettings();
    settings.widthMin = 0.4f;
    settings.heightMin = 0.5f;
    EXPECT_EQ(codeOf(boxAt(240, 320, 144, 100), portrait, settings), 0u) << "30 % = 40 - 10";
    EXPECT_EQ(codeOf(boxAt(240, 320, 143, 100), portrait, settings), 15u) << "29 %";
    EXPECT_EQ(codeOf(boxAt(320, 240, 192 - 1, 100), {640, 480}, settings), 15u) << "29 % of 40";
    settings.heightMax = 0.1f;
    EXPECT_EQ(codeOf(boxAt(240, 320, 240, 100), portrait, settings), 0u) << "50 % = 60 - 10";
    EXPECT_EQ(codeOf(boxAt(240, 320, 245, 100), portrait, settings), 14u) << "51 %";
}

TEST(Placement, LeavesTheLimitsOfSquareFramesAlone) {
    EXPECT_EQ(codeOf(boxAt(100, 100, 38, 40), {200, 200}), 15u) << "19 % of 20, 20 % of 30";
}

TEST(Placement, ReadsLimitsInSinglePrecision) {
    PlacementSettings settings = someSettings();
    settings.widthMin = 0.29f;  // 28 in double precision
    EXPECT_EQ(codeOf(boxAt(100, 50, 57, 20), kFrame, settings), 15u) << "28 % of 29";
}

TEST(Placement, SurvivesSettingsBeyondEveryInteger) {
    PlacementSettings settings = someSettings();
    settings.widthMin = -std::numeric_limits<float>::max();
    settings.widthMax = std::numeric_limits<float>::infinity();
    settings.horizontalTolerance = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(codeOf(boxAt(50, 160, 40, 100), {100, 320}, settings), 0u);
}

TEST(Placement, SurvivesTheLargestFrame) {
    constexpr int kMax = std::numeric_limits<int>::max();
    EXPECT_EQ(codeOf(boxAt(65535, 65535, 10, 10), {kMax, kMax}), 1u);
}

// The edges as a list of gaps, then the sizes.
std::uint32_t plainCode(const PvaHandPose& pose, FrameSize frame,
                        const PlacementSettings& settings) {
    const long x = pose.centerX;
    const long y = pose.centerY;
    const long halfW = pose.width >> 1;
    const long halfH = pose.height >> 1;
    const auto percent = [](float value) { return static_cast<long>(value * 100.0f); };
    struct Edge {
        long gap;
        long whole;
        float tolerance;
        std::uint32_t code;
    };
    const std::array<Edge, 4> edges{{
        {x - halfW, frame.width, settings.horizontalTolerance, 1},
        {y - halfH, frame.height, settings.verticalTolerance, 3},
        {frame.width - (x + halfW), frame.width, settings.horizontalTolerance, 2},
        {frame.height - (y + halfH), frame.height, settings.verticalTolerance, 4},
    }};
    for (const Edge& edge : edges) {
        if (edge.gap * 100 / edge.whole <= percent(edge.tolerance)) {
            return edge.code;
        }
    }
    const long lowered = frame.width < frame.height ? 10 : 0;
    const long w = 100L * pose.width / frame.width;
    const long h = 100L * pose.height / frame.height;
    const bool small = w < percent(settings.widthMin) - lowered && h < percent(settings.heightMin);
    const bool large = w > percent(settings.widthMax) - lowered && h > percent(settings.heightMax);
    return small ? 15 : large ? 14 : 0;
}

TEST(Placement, AgreesWithAPlainSecondWayToCount) {
    test::SeededRandom random;
    std::array<int, 16> met{};
    for (int i = 0; i < 50'000; ++i) {
        const FrameSize frame{random.between(20, 700), random.between(20, 700)};
        const PvaHandPose pose =
            boxAt(random.between(0, frame.width), random.between(0, frame.height),
                  random.between(0, frame.width), random.between(0, frame.height));
        const PlacementSettings settings{random.fraction(0, 0.2f), random.fraction(0, 0.2f),
                                         random.fraction(0, 0.6f), random.fraction(0.1f, 0.9f),
                                         random.fraction(0, 0.6f), random.fraction(0.1f, 0.9f)};
        const std::uint32_t code = placementCode(pose, frame, settings);
        ASSERT_EQ(code, plainCode(pose, frame, settings)) << "case " << i;
        ++met[code];
    }
    for (const std::size_t code : {0, 1, 2, 3, 4, 14, 15}) {
        EXPECT_GT(met[code], 0) << "code " << code << " never came";
    }
}

// ---- Settings

ConfigDocument someDocument() {
    ConfigDocument document;
    document["handpose"] = {
        {"horizontal_offset_tolerance", 0.125}, {"vertical_offset_tolerance", 0.25},
        {"hand_size_width_min", 0.375},         {"hand_size_width_max", 0.5},
        {"hand_size_height_min", 0.625},        {"hand_size_height_max", 1}};
    return document;
}

TEST(PlacementSettingsTest, AreReadFromTheDocument) {
    ConfigDocument document = someDocument();
    const PlacementSettings settings = readPlacementSettings(document);
    EXPECT_EQ(settings.horizontalTolerance, 0.125f);
    EXPECT_EQ(settings.verticalTolerance, 0.25f);
    EXPECT_EQ(settings.widthMin, 0.375f);
    EXPECT_EQ(settings.widthMax, 0.5f);
    EXPECT_EQ(settings.heightMin, 0.625f);
    EXPECT_EQ(settings.heightMax, 1.0f);
}

TEST(PlacementSettingsTest, EachIsNeeded) {
    const ConfigDocument whole = someDocument();
    for (const auto& [key, value] : whole["handpose"].items()) {
        ConfigDocument document = whole;
        document["handpose"].erase(key);
        EXPECT_THROW(readPlacementSettings(document), nlohmann::json::type_error) << key;
    }
}

}  // namespace
}  // namespace brairu
