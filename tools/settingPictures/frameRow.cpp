#include "settingPictures/frameRow.h"

#include "settingPictures/embeddedImage.h"
#include "settingPictures/pictureText.h"

namespace brairu::tool {
namespace {

constexpr double kTitleHeight = 44;  // and that of the texts of the limits
constexpr double kTextHeight = 46;
constexpr double kGap = 14;

// Room for one shot: its picture has the width of the row's size.
double stepOf(const FrameRow& row) {
    return row.size.width + kGap;
}

SvgPoint cornerOf(const FrameRow& row, std::size_t index, double top) {
    return {kPictureMargin + static_cast<double>(index) * stepOf(row), top + kTitleHeight};
}

void drawBox(SvgPicture& picture, SvgPoint corner, cv::Size size, const cv::Rect2d& box,
             const std::string& style) {
    picture.rectangle({corner.x + box.x * size.width, corner.y + box.y * size.height},
                      box.width * size.width, box.height * size.height, "fill='none' " + style);
}

std::string outlinedIn(const char* colour) {
    return std::string("stroke='") + colour + "' stroke-width='2'";
}

void drawShot(SvgPicture& picture, SvgPoint corner, const FrameRow& row, const Shot& shot) {
    const char* colour = shot.accepted ? kAccepted : kRefused;
    picture.image(corner, row.size.width, row.size.height, embeddedImage(shot.grey, row.size));
    if (row.room) {
        drawBox(picture, corner, row.size, *row.room, "stroke='#e0b040' stroke-dasharray='3 3'");
    }
    if (shot.handBox) {
        drawBox(picture, corner, row.size, *shot.handBox, "stroke='#ffffff'");
    }
    picture.rectangle(corner, row.size.width, row.size.height, "fill='none' " + outlinedIn(colour));
    const double below = corner.y + row.size.height;
    picture.text({corner.x, below + 15}, shot.measured, "font-size='11'");
    picture.text({corner.x, below + 29}, shot.verdict, filledWith(colour, "font-size='11'"));
}

void drawLimit(SvgPicture& picture, SvgPoint corner, const FrameRow& row, const std::string& text) {
    const double x = corner.x - kGap / 2;
    picture.line({x, corner.y - 8}, {x, corner.y + row.size.height + kTextHeight - 14}, kLimitLine);
    picture.text({x, corner.y - 12}, text,
                 filledWith(kRefused, "text-anchor='middle' font-size='11'"));
}

void drawLimits(SvgPicture& picture, double top, const FrameRow& row) {
    for (std::size_t i = 1; i < row.shots.size(); ++i) {
        const int before = row.shots[i - 1].side;
        const int here = row.shots[i].side;
        if (before < 0 && here >= 0) {
            drawLimit(picture, cornerOf(row, i, top), row, row.lowerLimit);
        }
        if (before <= 0 && here > 0) {
            drawLimit(picture, cornerOf(row, i, top), row, row.upperLimit);
        }
    }
}

}  // namespace

double heightOf(const FrameRow& row) {
    return kTitleHeight + row.size.height + kTextHeight;
}

double drawRow(SvgPicture& picture, double top, const FrameRow& row) {
    picture.text({kPictureMargin, top + 14}, row.title, "");
    for (std::size_t i = 0; i < row.shots.size(); ++i) {
        drawShot(picture, cornerOf(row, i, top), row, row.shots[i]);
    }
    drawLimits(picture, top, row);
    return top + heightOf(row);
}

}  // namespace brairu::tool
