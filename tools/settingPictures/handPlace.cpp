#include <array>
#include <span>

#include "handPose/placement.h"
#include "report/numbers.h"
#include "settingPictures/drawings.h"
#include "settingPictures/pictureText.h"
#include "settingPictures/steadyRow.h"
#include "utils/convert.h"

namespace brairu::tool {
namespace {

constexpr std::array kAcross{0.27f, 0.36f, 0.50f, 0.64f, 0.73f};
constexpr std::array kDown{0.36f, 0.43f, 0.50f, 0.57f, 0.64f};
constexpr std::array kNearer{0.22f, 0.30f, 0.40f, 0.475f, 0.52f};

std::optional<cv::Rect2d> boxOf(const Capture& capture) {
    if (!capture.candidate) {
        return std::nullopt;
    }
    const PvaHandPose& pose = capture.found;
    const double width = static_cast<double>(pose.width) / kPictureFrame.width;
    const double height = static_cast<double>(pose.height) / kPictureFrame.height;
    return cv::Rect2d(static_cast<double>(pose.centerX) / kPictureFrame.width - width / 2,
                      static_cast<double>(pose.centerY) / kPictureFrame.height - height / 2, width,
                      height);
}

std::string wholeOf(const Look& look, const std::string& name) {
    return rounded(look.measure(name).value, 0) + " %";
}

// A gap has to be more than so many whole per cent.
cv::Rect2d roomIn(const PlacementSettings& limits) {
    const double across = (wholePercent(limits.horizontalTolerance) + 1) / 100.0;
    const double down = (wholePercent(limits.verticalTolerance) + 1) / 100.0;
    return {across, down, 1.0 - 2.0 * across, 1.0 - 2.0 * down};
}

FrameRow rowOf(const std::string& title, std::span<const float> values, const Change& change,
               const Describe& describe, ConfigDocument& config) {
    FrameRow row = steadyRow(
        title, values, change,
        [&](Shot& shot, const Look& look) {
            shot.handBox = boxOf(look.capture);
            describe(shot, look);
        },
        config);
    row.room = roomIn(readPlacementSettings(config));
    return row;
}

// Between two margins of which the first runs short at the beginning of a row.
void describeMargins(Shot& shot, const Look& look, const std::string& first,
                     const std::string& last) {
    shot.measured = first + " " + wholeOf(look, first + " margin") + ", " + last + " " +
                    wholeOf(look, last + " margin");
    shot.side = look.measure(first + " margin").passes() ? 0 : -1;
    shot.side = look.measure(last + " margin").passes() ? shot.side : 1;
}

void describeSize(Shot& shot, const Look& look) {
    shot.measured =
        "width " + wholeOf(look, "hand width") + ", height " + wholeOf(look, "hand height");
    const Measure& width = look.measure("hand width");
    shot.side = width.excused ? 0 : sideOf(width);
}

// What is too large is no usable hand before: that is a matter of the picture placementLimits.
const std::vector<NamedSetting> kSettings{
    {"handpose", "horizontal_offset_tolerance",
     "gap to the left and right edge; lower lets"
     " hands nearer to it"},
    {"handpose", "vertical_offset_tolerance", "the same for top and bottom"},
    {"handpose", "hand_size_width_min", "too small when narrower than this"},
    {"handpose", "hand_size_height_min", "and lower than this; lower lets hands be farther away"},
};

}  // namespace

std::string drawHandPlace(PictureSource& source) {
    FrameRow across = rowOf(
        "From left to right: the gap between the hand box and the edge, in whole per cent of the"
        " width",
        kAcross, [](CaptureConditions& hand, float value) { hand.place.x = value; },
        [](Shot& shot, const Look& look) { describeMargins(shot, look, "left", "right"); },
        source.config);
    FrameRow down = rowOf(
        "From top to bottom", kDown,
        [](CaptureConditions& hand, float value) { hand.place.y = value; },
        [](Shot& shot, const Look& look) { describeMargins(shot, look, "top", "bottom"); },
        source.config);
    FrameRow nearer = rowOf(
        "From far to near: the sides of the hand box", kNearer,
        [](CaptureConditions& hand, float value) { hand.palmWidth = value; }, describeSize,
        source.config);
    const PlacementSettings limits = readPlacementSettings(source.config);
    const auto whole = [](float fraction) { return std::to_string(wholePercent(fraction)) + " %"; };
    across.lowerLimit = across.upperLimit = "more than " + whole(limits.horizontalTolerance);
    down.lowerLimit = down.upperLimit = "more than " + whole(limits.verticalTolerance);
    nearer.lowerLimit = "at least " + whole(limits.widthMin) + " or " + whole(limits.heightMin);

    constexpr double kTop = 30;
    SvgPicture picture(kRowsWidth, kTop + heightOf(kSettings) + heightOf(across) + heightOf(down) +
                                       heightOf(nearer));
    double top = writeSettings(picture, kTop, source.config, kSettings);
    for (const FrameRow* row : {&across, &down, &nearer}) {
        top = drawRow(picture, top, *row);
    }
    return picture.document();
}

}  // namespace brairu::tool
