#include <algorithm>
#include <array>
#include <opencv2/core.hpp>
#include <vector>

#include "handPose/placement.h"
#include "handPose/poseDecoder.h"
#include "settingPictures/drawings.h"
#include "settingPictures/pictureText.h"
#include "utils/convert.h"

namespace brairu::tool {
namespace {

// What becomes of a box.
enum class Fate { good, left, right, top, bottom, large, small, noHand };

struct FateLook {
    const char* colour;
    const char* words;
};

constexpr std::array<FateLook, 8> kFates{{{"#bfe3cc", "0 good"},
                                          {"#f3d08a", "1 too near the left edge"},
                                          {"#e7b566", "2 too near the right edge"},
                                          {"#c9d4ee", "3 too near the top"},
                                          {"#aabce4", "4 too near the bottom"},
                                          {"#e08a7d", "14 too large"},
                                          {"#efc4d6", "15 too small"},
                                          {"#bbbbbb", "no usable hand: fills 80 % of a side"}}};

const FateLook& lookOf(Fate fate) {
    return kFates[static_cast<std::size_t>(fate)];
}

// Of an open left palm, in shares of the box around its hand; as high as the box from 1 to 2.
constexpr double kPalm[PVA_KEY_POINTS][2] = {{0.5, 0.55}, {0.2, 0.9},  {0.2, 0.2}, {0.4, 0.15},
                                             {0.6, 0.15}, {0.8, 0.25}, {0.8, 0.9}};

std::uint16_t pixels(double value) {
    return static_cast<std::uint16_t>(value);
}

// A hand whose box lies around a place, all in whole per cent of the frame.
PvaHandPose handAt(FrameSize frame, cv::Point2d centre, cv::Size2d size) {
    const auto across = [&](double percent) { return percent * frame.width / 100.0; };
    const auto down = [&](double percent) { return percent * frame.height / 100.0; };
    PvaHandPose pose{};
    pose.centerX = pixels(across(centre.x));
    pose.centerY = pixels(down(centre.y));
    pose.width = pixels(across(size.width));
    pose.height = pixels(down(size.height));
    for (std::size_t i = 0; i < PVA_KEY_POINTS; ++i) {
        pose.keyPoints[i] = {pixels(pose.centerX + (kPalm[i][0] - 0.5) * pose.width),
                             pixels(pose.centerY + (kPalm[i][1] - 0.5) * pose.height)};
    }
    return pose;
}

Fate fateOf(const PvaHandPose& pose, FrameSize frame, const PlacementSettings& settings) {
    switch (placementCode(pose, frame, settings)) {
        case PVA_PLACEMENT_LEFT: return Fate::left;
        case PVA_PLACEMENT_RIGHT: return Fate::right;
        case PVA_PLACEMENT_TOP: return Fate::top;
        case PVA_PLACEMENT_BOTTOM: return Fate::bottom;
        case PVA_PLACEMENT_LARGE: return Fate::large;
        case PVA_PLACEMENT_SMALL: return Fate::small;
        default: return Fate::good;
    }
}

constexpr int kCells = 100;  // a whole per cent each
constexpr double kCell = 2.5;
constexpr double kSide = kCells * kCell;
constexpr double kTop = 190;

// The cells of a row that are alike, from its left.
struct Run {
    Fate fate;
    int cells;

    bool operator==(const Run&) const = default;
};

template <typename FateAt>
std::vector<Run> runsOf(int row, FateAt fateAt) {
    std::vector<Run> runs;
    for (int column = 0; column < kCells; ++column) {
        const Fate fate = fateAt(column, row);
        if (runs.empty() || runs.back().fate != fate) {
            runs.push_back({fate, 0});
        }
        ++runs.back().cells;
    }
    return runs;
}

void drawRuns(SvgPicture& picture, SvgPoint corner, double height, const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        picture.rectangle(corner, run.cells * kCell, height,
                          filledWith(lookOf(run.fate).colour, "shape-rendering='crispEdges'"));
        corner.x += run.cells * kCell;
    }
}

// A map whose two axes run over whole per cent of the frame. Rows that are alike are drawn as one.
template <typename FateAt>
void drawMap(SvgPicture& picture, SvgPoint corner, bool upwards, FateAt fateAt) {
    for (int first = 0; first < kCells;) {
        const std::vector<Run> runs = runsOf(first, fateAt);
        int end = first + 1;
        while (end < kCells && runsOf(end, fateAt) == runs) {
            ++end;
        }
        const int above = upwards ? kCells - end : first;
        drawRuns(picture, {corner.x, corner.y + above * kCell}, (end - first) * kCell, runs);
        first = end;
    }
    picture.rectangle(corner, kSide, kSide, "fill='none' stroke='#888888'");
}

void labelAxes(SvgPicture& picture, SvgPoint corner, bool upwards, const char* title,
               const char* across, const char* down) {
    picture.text({corner.x, corner.y - 28}, title, "font-weight='bold'");
    picture.text({corner.x, corner.y - 10}, down, "font-size='11'");
    picture.text({corner.x + kSide / 2, corner.y + kSide + 30}, across,
                 "text-anchor='middle' font-size='11'");
    for (int percent = 0; percent <= kCells; percent += 25) {
        const double x = corner.x + percent * kCell;
        const double y = corner.y + (upwards ? kCells - percent : percent) * kCell;
        const std::string number = std::to_string(percent);
        picture.text({x, corner.y + kSide + 14}, number, "text-anchor='middle' font-size='10'");
        picture.text({corner.x - 4, y + 4}, number, "text-anchor='end' font-size='10'");
    }
}

// Of a box of the sides that hands at a usual distance have.
void drawPlaces(SvgPicture& picture, SvgPoint corner, const PlacementSettings& settings) {
    constexpr FrameSize kFrame{640, 480};
    const cv::Size2d size(36.0, 62.0);
    drawMap(picture, corner, false, [&](int x, int y) {
        return fateOf(handAt(kFrame, {x + 0.5, y + 0.5}, size), kFrame, settings);
    });
    labelAxes(picture, corner, false, "Where a box of 36 x 62 % may be",
              "middle of the box, % of the width", "middle of the box, % of the height");
}

// Of a box in the middle of the frame.
void drawSizes(SvgPicture& picture, SvgPoint corner, FrameSize frame, const char* title,
               const PlacementSettings& settings) {
    drawMap(picture, corner, true, [&](int width, int height) {
        PvaHandPose pose = handAt(frame, {50.0, 50.0}, {width + 0.5, height + 0.5});
        return judgeHand(pose, frame) ? fateOf(pose, frame, settings) : Fate::noHand;
    });
    labelAxes(picture, corner, true, title, "width of the box, % of the width",
              "height of the box, % of the height");
}

void drawLegend(SvgPicture& picture, double top) {
    for (std::size_t i = 0; i < kFates.size(); ++i) {
        const double x = kPictureMargin + static_cast<double>(i % 4) * 205;
        const double y = top + (i < 4 ? 0 : 20);
        picture.rectangle({x, y - 10}, 12, 12, filledWith(kFates[i].colour));
        picture.text({x + 18, y}, kFates[i].words, "font-size='11'");
    }
}

const std::vector<NamedSetting> kSettings{
    {"handpose", "horizontal_offset_tolerance", "widens the bands of codes 1 and 2"},
    {"handpose", "vertical_offset_tolerance", "widens the bands of codes 3 and 4"},
    {"handpose", "hand_size_width_min", "moves the right side of code 15 to the right"},
    {"handpose", "hand_size_height_min", "moves the upper side of code 15 up"},
    {"handpose", "hand_size_width_max", "moves the left side of code 14 to the right"},
    {"handpose", "hand_size_height_max", "moves the lower side of code 14 up"},
};

}  // namespace

std::string drawPlacementLimits(PictureSource& source) {
    const PlacementSettings settings = readPlacementSettings(source.config);
    SvgPicture picture(920, kTop + kSide + 90);
    picture.text({kPictureMargin, 24}, "What becomes of a hand box; higher values:", kHeading);
    writeSettings(picture, 46, source.config, kSettings);
    drawPlaces(picture, {44, kTop}, settings);
    drawSizes(picture, {344, kTop}, {640, 480}, "Its sides, in 640 x 480", settings);
    drawSizes(picture, {644, kTop}, {480, 640}, "Its sides, in 480 x 640", settings);
    drawLegend(picture, kTop + kSide + 56);
    return picture.document();
}

}  // namespace brairu::tool
