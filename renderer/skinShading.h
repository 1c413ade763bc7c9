#pragma once

#include "renderer/captureConditions.h"
#include "renderer/raster.h"
#include "renderer/silhouette.h"

#include <opencv2/core.hpp>

namespace brairu {

// A body part drawn over a raster: a soft coverage whose middle value is the outline, and the
// shading by its relief (kFullShade is skin facing the light).
struct ShadedSkin {
    cv::Mat coverage;
    cv::Mat shade;
    Raster raster;
};

inline constexpr float kFullShade = 180.0f;
// Softness of the coverage: deviation of the blur in palm breadths.
inline constexpr float kOutlineBlur = 0.022f;

// Shades what lies within a raster. The result's own raster is the part of it in which there is
// something, empty if there is nothing.
ShadedSkin shadeSkin(const Silhouette& silhouette, const CaptureConditions& conditions,
                     const Raster& whole);

}  // namespace brairu
