#include <array>
#include <functional>
#include <span>

#include "handPose/placement.h"
#include "report/numbers.h"
#include "settingPictures/drawings.h"
#include "settingPictures/frameRow.h"
#include "settingPictures/look.h"
#include "settingPictures/pictureText.h"
#include "settingPictures/steadyHand.h"
#include "utils/convert.h"

namespace brairu::tool {
namespace {

using Change = std::function<void(CaptureConditions&, float)>;
using Describe = std::function<void(Shot&, const Look&)>;

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

class Rows {
public:
    explicit Rows(ConfigDocument& config) : config_(config), palm_(picturedPalm()) {}

    FrameRow row(const std::string& title, std::span<const float> values, const Change& change,
                 const Describe& describe) {
        FrameRow row;
        row.title = title;
        row.room = room();
        for (const float value : values) {
            row.shots.push_back(shot(value, change, describe));
        }
        return row;
    }

private:
    Shot shot(float value, const Change& change, const Describe& describe) {
        CaptureConditions hand = steadyHand(palm_);
        change(hand, value);
        Shot shot;
        shot.grey = render(palm_, hand, kPictureFrame).luma;
        const Look look = lookAt(shot.grey, config_);
        shot.verdict = verdictOf(look);
        shot.accepted = look.capture.isGood();
        shot.handBox = boxOf(look.capture);
        describe(shot, look);
        return shot;
    }

    // A gap has to be more than so many whole per cent.
    cv::Rect2d room() const {
        const PlacementSettings settings = readPlacementSettings(config_);
        const double across = (wholePercent(settings.horizontalTolerance) + 1) / 100.0;
        const double down = (wholePercent(settings.verticalTolerance) + 1) / 100.0;
        return {across, down, 1.0 - 2.0 * across, 1.0 - 2.0 * down};
    }

    ConfigDocument& config_;
    PalmIdentity palm_;
};

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

const std::vector<NamedSetting> kSettings{
    {"handpose", "horizontal_offset_tolerance",
     "gap to the left and right edge; lower lets"
     " hands nearer to it"},
    {"handpose", "vertical_offset_tolerance", "the same for top and bottom"},
    {"handpose", "hand_size_width_min", "too small when narrower than this"},
    {"handpose", "hand_size_height_min", "and lower than this; lower lets hands be farther away"},
    {"handpose", "hand_size_width_max", "too large when wider than this"},
    {"handpose", "hand_size_height_max", "and higher than this"},
};

}  // namespace

std::string drawHandPlace(PictureSource& source) {
    Rows rows(source.config);
    FrameRow across = rows.row(
        "From left to right: the gap between the hand box and the edge, in whole per cent of the"
        " width",
        kAcross, [](CaptureConditions& hand, float value) { hand.place.x = value; },
        [](Shot& shot, const Look& look) { describeMargins(shot, look, "left", "right"); });
    FrameRow down = rows.row(
        "From top to bottom", kDown,
        [](CaptureConditions& hand, float value) { hand.place.y = value; },
        [](Shot& shot, const Look& look) { describeMargins(shot, look, "top", "bottom"); });
    FrameRow nearer = rows.row(
        "From far to near: the sides of the hand box", kNearer,
        [](CaptureConditions& hand, float value) { hand.palmWidth = value; }, describeSize);
    const PlacementSettings limits = readPlacementSettings(source.config);
    const auto whole = [](float fraction) { return std::to_string(wholePercent(fraction)) + " %"; };
    across.lowerLimit = across.upperLimit = "more than " + whole(limits.horizontalTolerance);
    down.lowerLimit = down.upperLimit = "more than " + whole(limits.verticalTolerance);
    nearer.lowerLimit = "at least " + whole(limits.widthMin) + " or " + whole(limits.heightMin);
    nearer.upperLimit = "at most " + whole(limits.widthMax) + " or " + whole(limits.heightMax);

    constexpr double kTop = 30;
    SvgPicture picture(kRowsWidth, kTop + 17.0 * static_cast<double>(kSettings.size()) +
                                       heightOf(across) + heightOf(down) + heightOf(nearer));
    double top = writeSettings(picture, kTop, source.config, kSettings);
    for (const FrameRow* row : {&across, &down, &nearer}) {
        top = drawRow(picture, top, *row);
    }
    return picture.document();
}

}  // namespace brairu::tool
