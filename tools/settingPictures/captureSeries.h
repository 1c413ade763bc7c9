// Captures of one palm after the other, with the small pictures of their frames.
#pragma once

#include <vector>

#include "engine/capture.h"
#include "renderer/palmRenderer.h"
#include "svg/svg.h"

namespace brairu::tool {

struct SeriesShot {
    cv::Mat grey;
    Capture capture;
};

// So many captures from the one of this number on. The engine must be started.
std::vector<SeriesShot> takeSeries(const PalmIdentity& palm, Scenario scenario, int first,
                                   int count);

// A table whose columns are the shots of a series: what stands in it for one of them.
struct SeriesCell {
    std::string text;
    const char* colour;
};

inline constexpr double kSeriesLeft = 190;
inline constexpr double kSeriesStep = 59;
inline constexpr double kSeriesRow = 26;

// The frames, from top on; returns where the first row of the table may begin.
double drawSeries(SvgPicture& picture, double top, const std::vector<SeriesShot>& series);

double drawSeriesRow(SvgPicture& picture, double top, const std::string& title,
                     const std::vector<SeriesCell>& cells);

}  // namespace brairu::tool
