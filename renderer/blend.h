#pragma once

#include <opencv2/core.hpp>

namespace brairu {

// Puts `over` in the place of what a layer shows, as far as the mask says (0 to 255); all CV_8U.
void blend(cv::Mat& layer, const cv::Mat& over, const cv::Mat& mask);

}  // namespace brairu
