#pragma once

#include "renderer/captureConditions.h"
#include "renderer/random.h"

#include <opencv2/core.hpp>

namespace brairu {

// Draws what lies behind the hand, out of focus and so at about a third of the frame's size, to be
// enlarged. `level` in 0..1 moves it from dark to bright.
cv::Mat drawBackground(cv::Size size, Background kind, float level, Random& random);

}  // namespace brairu
