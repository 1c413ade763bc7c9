// Measured values, against the verdicts of the library that they explain.
#include <gtest/gtest.h>

#include <fstream>

#include "handPose/placement.h"
#include "measures/captureMeasures.h"

namespace brairu::tool {
namespace {

const cv::Size kFrame(640, 480);

ConfigDocument shippedConfig() {
    ConfigDocument document;
    std::ifstream(BRAIRU_SOURCE_DIR "/config/brairu.json") >> document;
    return document;
}

PvaHandPose boxAt(int x, int y, int width, int height) {
    PvaHandPose pose{};
    pose.centerX = static_cast<std::uint16_t>(x);
    pose.centerY = static_cast<std::uint16_t>(y);
    pose.width = static_cast<std::uint16_t>(width);
    pose.height = static_cast<std::uint16_t>(height);
    return pose;
}

Measure named(const Measures& measures, const std::string& name) {
    for (const Measure& measure : measures) {
        if (measure.name == name) {
            return measure;
        }
    }
    ADD_FAILURE() << name << " was not measured";
    return {};
}

TEST(Measures, MarginsAndSidesAreWholePercentOfTheFrame) {
    ConfigDocument config = shippedConfig();
    const Measures measures = measurePlacement(boxAt(200, 240, 200, 240), kFrame, config);
    EXPECT_EQ(named(measures, "left margin").value, 15);
    EXPECT_EQ(named(measures, "right margin").value, 53);
    EXPECT_EQ(named(measures, "top margin").value, 25);
    EXPECT_EQ(named(measures, "bottom margin").value, 25);
    EXPECT_EQ(named(measures, "hand width").value, 31);
    EXPECT_EQ(named(measures, "hand height").value, 50);
}

TEST(Measures, AMarginBeyondTheEdgeIsNegative) {
    ConfigDocument config = shippedConfig();
    const Measures measures = measurePlacement(boxAt(50, 470, 240, 200), kFrame, config);
    EXPECT_EQ(named(measures, "left margin").value, -10);
    EXPECT_EQ(named(measures, "bottom margin").value, -18);
}

TEST(Measures, LimitsAreThoseOfTheConfiguration) {
    ConfigDocument config = shippedConfig();
    const Measures measures = measurePlacement(boxAt(320, 240, 300, 300), kFrame, config);
    EXPECT_EQ(described(named(measures, "left margin")),
              "left margin 26 % of the width, needs more than 12 %");
    EXPECT_EQ(described(named(measures, "hand width")),
              "hand width 46 % of the width, needs at least 30 % and at most 70 %");
}

TEST(Measures, AnUprightFrameCountsTenPercentMoreWidth) {
    ConfigDocument config = shippedConfig();
    const Measures measures = measurePlacement(boxAt(240, 320, 240, 320), {480, 640}, config);
    EXPECT_EQ(named(measures, "hand width").value, 60);
    EXPECT_EQ(named(measures, "hand width").unit, "% of the width, 10 added for an upright frame");
}

TEST(Measures, OneSideAloneIsExcused) {
    ConfigDocument config = shippedConfig();
    const Measure width =
        named(measurePlacement(boxAt(320, 240, 100, 300), kFrame, config), "hand width");
    EXPECT_FALSE(width.passes());
    EXPECT_TRUE(width.excused);
    const Measure small =
        named(measurePlacement(boxAt(320, 240, 100, 100), kFrame, config), "hand width");
    EXPECT_FALSE(small.excused);
}

// Whether a code is what the measures say.
bool agrees(std::uint32_t code, const Measures& measures) {
    const auto fails = [&](const char* name) {
        const Measure measure = named(measures, name);
        return !measure.passes() && !measure.excused;
    };
    switch (code) {
        case PVA_PLACEMENT_LEFT: return fails("left margin");
        case PVA_PLACEMENT_TOP: return fails("top margin");
        case PVA_PLACEMENT_RIGHT: return fails("right margin");
        case PVA_PLACEMENT_BOTTOM: return fails("bottom margin");
        case PVA_PLACEMENT_LARGE:
        case PVA_PLACEMENT_SMALL: return fails("hand width") && fails("hand height");
        default: break;
    }
    for (const Measure& measure : measures) {
        if (!measure.passes() && !measure.excused) {
            return false;
        }
    }
    return code == PVA_PLACEMENT_GOOD;
}

TEST(Measures, AgreeWithTheVerdictOnBoxesAllOverTheFrame) {
    ConfigDocument config = shippedConfig();
    for (const cv::Size frame : {cv::Size(640, 480), cv::Size(480, 640), cv::Size(333, 217)}) {
        for (int i = 0; i < 400; ++i) {
            const PvaHandPose pose = boxAt(i * 37 % frame.width, i * 53 % frame.height,
                                           20 + i * 71 % frame.width, 20 + i * 91 % frame.height);
            const std::uint32_t code =
                placementCode(pose, {frame.width, frame.height}, readPlacementSettings(config));
            EXPECT_TRUE(agrees(code, measurePlacement(pose, frame, config)))
                << "code " << code << ", box " << i;
        }
    }
}

// An open left palm, fingers up, in a box of its own.
PvaHandPose openPalm() {
    PvaHandPose pose = boxAt(320, 240, 220, 240);
    const PvaPoint points[PVA_KEY_POINTS] = {{325, 262}, {245, 330}, {265, 168}, {310, 165},
                                             {355, 172}, {395, 206}, {385, 322}};
    std::copy(std::begin(points), std::end(points), pose.keyPoints);
    return pose;
}

TEST(HandFaults, AnOpenPalmHasNone) {
    EXPECT_EQ(handFault(openPalm(), kFrame), HandFault::none);
}

TEST(HandFaults, AHandThatFillsThePictureIsTooLarge) {
    PvaHandPose pose = openPalm();
    pose.width = 512;
    EXPECT_EQ(handFault(pose, kFrame), HandFault::tooLarge);
}

TEST(HandFaults, AHandAtASlantIsShort) {
    PvaHandPose pose = openPalm();
    pose.height = 340;
    EXPECT_EQ(handFault(pose, kFrame), HandFault::slanted);
}

TEST(HandFaults, AMiddleAboveTheFingerBasesIsNoPalm) {
    PvaHandPose pose = openPalm();
    pose.keyPoints[0].y = 100;
    EXPECT_EQ(handFault(pose, kFrame), HandFault::notAPalm);
}

TEST(Measure, PassesAtItsLimitUnlessItMustBeAbove) {
    EXPECT_FALSE((Measure{"", 12, 0, "", {{Bound::above, 12}}}.passes()));
    EXPECT_TRUE((Measure{"", 12, 0, "", {{Bound::atLeast, 12}}}.passes()));
    EXPECT_TRUE((Measure{"", 12, 0, "", {{Bound::atMost, 12}}}.passes()));
    EXPECT_FALSE((Measure{"", 13, 0, "", {{Bound::atLeast, 12}, {Bound::atMost, 12.5}}}.passes()));
}

}  // namespace
}  // namespace brairu::tool
