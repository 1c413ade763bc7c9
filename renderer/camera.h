#pragma once

#include "renderer/captureConditions.h"

#include <opencv2/core.hpp>

namespace brairu {

// Positions in a raster in the fixed-point form that cv::remap takes fastest.
struct RasterMap {
    cv::Mat whole;
    cv::Mat fraction;
};

// Where a point of the palm appears in the frame, and back: perspective of the tilted palm plus the
// soft stretching of the skin.
class Camera {
public:
    Camera(const CaptureConditions& conditions, Hand hand, cv::Size frame);

    cv::Point2f toFrame(const cv::Point2f& palm) const;
    cv::Point2f toPalm(const cv::Point2f& frame) const;

    // Palm breadth in frame pixels.
    float scale() const { return scale_; }

    // Smallest palm rectangle that the frame shows.
    cv::Rect2f visibleArea() const;

    // The part of the frame in which an area of the palm shows, with a margin.
    cv::Rect windowOn(const cv::Rect2f& palmArea) const;

    // For each pixel of a window of the frame its position in a raster over `area` of `rasterScale`
    // pixels per palm breadth.
    RasterMap rasterMap(const cv::Rect& window, const cv::Rect2f& area, float rasterScale) const;

private:
    cv::Point2f stretchAt(const cv::Point2f& palm) const;
    cv::Point2f straightened(const cv::Point2f& frame) const;
    cv::Point2f bent(const cv::Point2f& straight) const;

    cv::Size frame_;
    float scale_;
    cv::Matx33f palmToFrame_;
    cv::Matx33f frameToPalm_;
    float lensBend_;
    float stretch_;
    std::array<float, 8> phase_;
};

}  // namespace brairu
