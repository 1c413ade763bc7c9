// The size of frames as it is written on a command line.
#pragma once

#include <opencv2/core.hpp>

#include <optional>
#include <string_view>

namespace brairu {

// Shadows are drawn at a fraction of the frame's size.
inline constexpr int kLeastFrameSide = 16;

// "640x480", at most 16384 on a side; nothing of anything else.
std::optional<cv::Size> frameSizeFrom(std::string_view text);

// Whether a palm can be drawn in frames of this size.
bool isDrawable(cv::Size size);

}  // namespace brairu
