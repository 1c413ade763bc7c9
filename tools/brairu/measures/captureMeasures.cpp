#include "measures/captureMeasures.h"

#include "handPose/palmRegion.h"
#include "handPose/placement.h"
#include "handPose/poseDecoder.h"
#include "handPose/qualityGate.h"
#include "utils/convert.h"

namespace brairu::tool {
namespace {

// No box is so far out or so large.
constexpr int kFarPercent = 10'000;

// The fraction that the library reads as this many per cent.
float fractionOf(int percent) {
    const double middle = percent < 0 ? percent - 0.5 : percent + 0.5;
    return static_cast<float>(middle / 100.0);
}

// Limits that refuse nothing.
PlacementSettings openSettings() {
    PlacementSettings settings;
    settings.horizontalTolerance = settings.verticalTolerance = fractionOf(-kFarPercent);
    settings.widthMin = settings.heightMin = fractionOf(-kFarPercent);
    settings.widthMax = settings.heightMax = fractionOf(kFarPercent);
    return settings;
}

// The least whole per cent of a setting with which the placement check gives a code.
class TurningPoint {
public:
    TurningPoint(const PvaHandPose& pose, cv::Size frame)
        : pose_(pose), frame_{frame.width, frame.height} {}

    int margin(float PlacementSettings::*tolerance, std::uint32_t code) const {
        return leastRefused(openSettings(), tolerance, code);
    }

    // One below the smallest minimum that refuses the box. Only both sides together make it small.
    int side(float PlacementSettings::*minimum, float PlacementSettings::*otherMinimum) const {
        PlacementSettings settings = openSettings();
        settings.*otherMinimum = fractionOf(kFarPercent);
        return leastRefused(settings, minimum, PVA_PLACEMENT_SMALL) - 1;
    }

private:
    int leastRefused(PlacementSettings settings, float PlacementSettings::*setting,
                     std::uint32_t code) const {
        int passes = -kFarPercent;
        int refused = kFarPercent;
        while (refused - passes > 1) {
            const int middle = passes + (refused - passes) / 2;
            settings.*setting = fractionOf(middle);
            (placementCode(pose_, frame_, settings) == code ? refused : passes) = middle;
        }
        return refused;
    }

    PvaHandPose pose_;
    FrameSize frame_;
};

// Seen in a mirror the right edge is the left one, which the check looks at first.
PvaHandPose turnedRound(PvaHandPose pose, cv::Size frame) {
    pose.centerX = static_cast<std::uint16_t>(frame.width - pose.centerX);
    pose.centerY = static_cast<std::uint16_t>(frame.height - pose.centerY);
    return pose;
}

Measure margin(const char* side, int percent, const char* of, float tolerance) {
    return {std::string(side) + " margin",
            static_cast<double>(percent),
            0,
            std::string("% of the ") + of,
            {{Bound::above, static_cast<double>(wholePercent(tolerance))}}};
}

Measure side(const char* name, int percent, const std::string& of, float least, float most) {
    return {std::string("hand ") + name,
            static_cast<double>(percent),
            0,
            "% of the " + of,
            {{Bound::atLeast, static_cast<double>(wholePercent(least))},
             {Bound::atMost, static_cast<double>(wholePercent(most))}}};
}

// A hand is too small or too large only when both sides of its box are.
void excuseOneSide(Measure& width, Measure& height) {
    const bool alone = width.passes() != height.passes();
    width.excused = height.excused = alone;
}

// The check is milder to the width of upright frames: its limits come down, here the value goes up.
std::string widthAsCounted(cv::Size frame) {
    return frame.width < frame.height ? "width, 10 added for an upright frame" : "width";
}

void addBrightness(Measures& measures, const std::string& region, const Brightness& brightness,
                   const QualitySettings& settings) {
    const auto limit = [](Bound bound, int value) {
        return Limit{bound, static_cast<double>(value)};
    };
    measures.push_back({"brightness of " + region,
                        static_cast<double>(truncatedInt(brightness.mean)),
                        0,
                        "",
                        {limit(Bound::atLeast, settings.brightnessMin),
                         limit(Bound::atMost, settings.brightnessMax)}});
    measures.push_back({"unevenness of " + region,
                        static_cast<double>(truncatedInt(brightness.spread)),
                        0,
                        "",
                        {limit(Bound::atMost, settings.brightnessRange)}});
}

}  // namespace

Measures measurePlacement(const PvaHandPose& pose, cv::Size frame, ConfigDocument& config) {
    const PlacementSettings settings = readPlacementSettings(config);
    const TurningPoint seen(pose, frame);
    const TurningPoint mirrored(turnedRound(pose, frame), frame);
    constexpr auto kAcross = &PlacementSettings::horizontalTolerance;
    constexpr auto kDown = &PlacementSettings::verticalTolerance;
    constexpr auto kWidth = &PlacementSettings::widthMin;
    constexpr auto kHeight = &PlacementSettings::heightMin;
    Measures measures{
        margin("left", seen.margin(kAcross, PVA_PLACEMENT_LEFT), "width",
               settings.horizontalTolerance),
        margin("top", seen.margin(kDown, PVA_PLACEMENT_TOP), "height", settings.verticalTolerance),
        margin("right", mirrored.margin(kAcross, PVA_PLACEMENT_LEFT), "width",
               settings.horizontalTolerance),
        margin("bottom", mirrored.margin(kDown, PVA_PLACEMENT_TOP), "height",
               settings.verticalTolerance),
        side("width", seen.side(kWidth, kHeight), widthAsCounted(frame), settings.widthMin,
             settings.widthMax),
        side("height", seen.side(kHeight, kWidth), "height", settings.heightMin,
             settings.heightMax),
    };
    excuseOneSide(measures[4], measures[5]);
    return measures;
}

Measures measureQuality(const cv::Mat& luma, const PvaHandPose& pose, ConfigDocument& config) {
    PvaHandPose moved = pose;
    PalmImages images;
    const FrameSize input{readInt(config, "feature", "input_w"),
                          readInt(config, "feature", "input_h")};
    if (extractPalm(luma, input, moved, images) != PVA_PLACEMENT_GOOD) {
        return {};
    }
    const QualitySettings settings = readQualitySettings(config);
    Measures measures;
    addBrightness(measures, "the inner palm", measureBrightness(images.regionB), settings);
    addBrightness(measures, "the palm", measureBrightness(images.regionA), settings);
    measures.push_back({"sharpness of the palm",
                        static_cast<double>(measureSharpness(images.regionA)),
                        1,
                        "",
                        {{Bound::atLeast, static_cast<double>(settings.blur)}}});
    return measures;
}

HandFault handFault(const PvaHandPose& pose, cv::Size frame) {
    PvaHandPose asked = pose;
    if (judgeHand(asked, {frame.width, frame.height})) {
        return HandFault::none;
    }
    constexpr FrameSize kVast{1 << 20, 1 << 20};
    if (judgeHand(asked, kVast)) {
        return HandFault::tooLarge;
    }
    asked.height = 1;
    return judgeHand(asked, kVast) ? HandFault::slanted : HandFault::notAPalm;
}

}  // namespace brairu::tool
