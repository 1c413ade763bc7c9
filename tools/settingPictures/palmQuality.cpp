#include <algorithm>
#include <array>
#include <span>

#include "handPose/palmRegion.h"
#include "handPose/qualityGate.h"
#include "report/numbers.h"
#include "settingPictures/drawings.h"
#include "settingPictures/pictureText.h"
#include "settingPictures/steadyRow.h"

namespace brairu::tool {
namespace {

constexpr std::array kExposures{36.0f, 52.0f, 120.0f, 200.0f, 300.0f, 360.0f};
constexpr std::array kFallOffs{0.1f, 2.0f, 5.0f, 10.0f, 18.0f, 30.0f};
constexpr std::array kFocusBlurs{0.050f, 0.032f, 0.022f, 0.012f, 0.005f, 0.0f};
const cv::Size kShown(132, 132);

// Region A of the palm, which the light and the sharpness are measured on.
cv::Mat regionOf(const cv::Mat& luma, const PvaHandPose& found, ConfigDocument& config) {
    PvaHandPose pose = found;
    PalmImages images;
    (void)extractPalm(
        luma, {readInt(config, "feature", "input_w"), readInt(config, "feature", "input_h")}, pose,
        images);
    return images.regionA;
}

FrameRow rowOf(const std::string& title, std::span<const float> values, const Change& change,
               const Describe& describe, ConfigDocument& config) {
    FrameRow row = steadyRow(
        title, values, change,
        [&](Shot& shot, const Look& look) {
            shot.grey = regionOf(shot.grey, look.capture.found, config);
            describe(shot, look);
        },
        config);
    row.size = kShown;
    return row;
}

// The value of a measure on both regions, the smaller one first.
std::pair<Measure, Measure> onBothRegions(const Look& look, const std::string& name) {
    const Measure& inner = look.measure(name + " of the inner palm");
    const Measure& whole = look.measure(name + " of the palm");
    return inner.value < whole.value ? std::pair(inner, whole) : std::pair(whole, inner);
}

// The darker region must not be too dark, nor the brighter one too bright.
void describeBrightness(Shot& shot, const Look& look) {
    const auto [darker, brighter] = onBothRegions(look, "brightness");
    shot.measured = "grey " + rounded(darker.value, 0) + " and " + rounded(brighter.value, 0);
    shot.side = sideOf(darker) < 0 ? -1 : std::max(sideOf(brighter), 0);
}

void describeUnevenness(Shot& shot, const Look& look) {
    const Measure larger = onBothRegions(look, "unevenness").second;
    shot.measured = "unevenness " + rounded(larger.value, 0);
    shot.side = sideOf(larger);
}

void describeSharpness(Shot& shot, const Look& look) {
    const Measure& sharpness = look.measure("sharpness of the palm");
    shot.measured = "sharpness " + rounded(sharpness.value, 1);
    shot.side = sideOf(sharpness);
}

FrameRow brightnessRow(ConfigDocument& config, const QualitySettings& limits) {
    FrameRow row = rowOf(
        "From dark to bright: mean grey of the palm's two regions", kExposures,
        [](CaptureConditions& hand, float value) { hand.exposure = value; }, describeBrightness,
        config);
    row.lowerLimit = "at least " + std::to_string(limits.brightnessMin);
    row.upperLimit = "at most " + std::to_string(limits.brightnessMax);
    return row;
}

// A lamp beside the palm, ever nearer and turned up.
FrameRow unevennessRow(ConfigDocument& config, const QualitySettings& limits) {
    FrameRow row = rowOf(
        "From even to uneven light: brightest less darkest quarter of a region", kFallOffs,
        [](CaptureConditions& hand, float value) {
            hand.lightCentre = {0.60f, 0.68f};
            hand.lightFallOff = value;
            hand.exposure = 200.0f * (1.0f + 0.05f * value);
        },
        describeUnevenness, config);
    row.upperLimit = "at most " + std::to_string(limits.brightnessRange);
    return row;
}

FrameRow sharpnessRow(ConfigDocument& config, const QualitySettings& limits) {
    FrameRow row = rowOf(
        "From out of focus to sharp: variance of the Laplacian", kFocusBlurs,
        [](CaptureConditions& hand, float value) { hand.focusBlur = value; }, describeSharpness,
        config);
    row.lowerLimit = "at least " + plain(static_cast<double>(limits.blur));
    return row;
}

const std::vector<NamedSetting> kSettings{
    {"handpose", "brightness_threshold_min", "lower: noisier palms pass; higher: needs more light"},
    {"handpose", "brightness_threshold_max",
     "lower: allows less light; higher: burnt-out spots"
     " pass"},
    {"handpose", "brightness_range_threshold",
     "lower: light has to be even; higher: side light"
     " passes"},
    {"handpose", "blur_threshold", "lower: blurred palms pass; higher: hands have to keep still"},
};

}  // namespace

std::string drawPalmQuality(PictureSource& source) {
    const QualitySettings limits = readQualitySettings(source.config);
    const std::array rows{brightnessRow(source.config, limits),
                          unevennessRow(source.config, limits),
                          sharpnessRow(source.config, limits)};
    constexpr double kTop = 30;
    SvgPicture picture(kRowsWidth, kTop + heightOf(kSettings) + 3.0 * heightOf(rows[0]));
    double top = writeSettings(picture, kTop, source.config, kSettings);
    for (const FrameRow& row : rows) {
        top = drawRow(picture, top, row);
    }
    return picture.document();
}

}  // namespace brairu::tool
