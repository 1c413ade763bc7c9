#pragma once

#include "renderer/captureConditions.h"
#include "renderer/raster.h"

#include <opencv2/core.hpp>

#include <array>
#include <optional>

namespace brairu {

// Positions in a raster in the fixed-point form that cv::remap takes fastest.
struct RasterMap {
    cv::Mat whole;
    cv::Mat fraction;
};

// Where a point of the palm's plane appears in the frame, and back: the soft stretching of the skin,
// the perspective of the tilted palm, and the bending by the lens. What lies behind the camera has no
// place in the frame, and a place of the frame above the horizon none in the plane; both are then far
// away.
class Camera {
public:
    Camera(const CaptureConditions& conditions, Hand hand, cv::Size frame);

    cv::Point2f toFrame(const cv::Point2f& palm) const;
    cv::Point2f toPalm(const cv::Point2f& frame) const;

    // Palm breadth in frame pixels.
    float scale() const { return scale_; }

    // A palm rectangle that holds all that the frame shows.
    cv::Rect2f visibleArea() const;

    // The part of the frame in which an area of the palm shows, with a margin.
    cv::Rect windowOn(const cv::Rect2f& palmArea) const;

    // For each pixel of a window of the frame its position in a raster.
    RasterMap rasterMap(const cv::Rect& window, const Raster& raster) const;

private:
    std::optional<cv::Point2f> placeInFrame(const cv::Point2f& palm) const;
    std::optional<cv::Point2f> placeOnPalm(const cv::Point2f& frame) const;
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
