#pragma once

#include <opencv2/core/cvdef.h>

namespace brairu {

inline constexpr float kPi = static_cast<float>(CV_PI);
// A degree in radians.
inline constexpr float kDegree = static_cast<float>(CV_PI / 180.0);

}  // namespace brairu
