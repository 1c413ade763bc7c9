#pragma once

#include <opencv2/core.hpp>

namespace brairu::bench {

// A stored palm in a frame of this size, turned so that its crop has to be turned back. Throws
// std::runtime_error unless it is run in the root of the repository.
cv::Mat turnedPalm(cv::Size size);

}  // namespace brairu::bench
