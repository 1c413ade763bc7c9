// What the layers of a palm's skin share: pictures over kTextureArea, into which lines are drawn.
#pragma once

#include "renderer/curves.h"
#include "renderer/palmIdentity.h"
#include "renderer/random.h"
#include "renderer/raster.h"

namespace brairu {

Raster texture();

// A line of a depth (0 to 1) and a width (palm breadths).
struct Stroke {
    Curve path;
    float depth;
    float width;
};

// Draws a line whose depth wavers along its length and fades out at both ends.
void drawStroke(cv::Mat& layer, const Stroke& stroke, Random& random);

// Blurs by a deviation of several pixels, for which half the pixels do.
cv::Mat softened(const cv::Mat& layer, float deviation);

}  // namespace brairu
