// A row of frames along a measured value, from refused to accepted to refused.
#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "svg/svg.h"

namespace brairu::tool {

struct Shot {
    cv::Mat grey;
    std::string measured;  // "left 8 %, right 45 %"
    std::string verdict;
    bool accepted = false;
    int side = 0;                       // of the limits: -1 below, 0 between, 1 beyond
    std::optional<cv::Rect2d> handBox;  // in shares of the frame
};

struct FrameRow {
    std::string title;
    std::vector<Shot> shots;
    std::string lowerLimit;          // written where shots of side -1 end
    std::string upperLimit;          // where those of side 1 begin
    cv::Size size{160, 120};         // of a shot in the picture
    std::optional<cv::Rect2d> room;  // that a hand box has to keep to, in shares of the frame
};

inline constexpr double kRowsWidth = 900;

double heightOf(const FrameRow& row);

// Draws the row from top on; returns where the next may begin.
double drawRow(SvgPicture& picture, double top, const FrameRow& row);

}  // namespace brairu::tool
