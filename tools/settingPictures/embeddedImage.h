#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace brairu::tool {

// A small JPEG of a grey picture as an address that an SVG picture can hold.
std::string embeddedImage(const cv::Mat& grey, cv::Size size);

}  // namespace brairu::tool
