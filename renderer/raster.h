#pragma once

#include <opencv2/core.hpp>

namespace brairu {

// A picture of an area of palm coordinates, of so many pixels per palm breadth; row 0 is the top.
class Raster {
public:
    // Fractional bits of the positions that lines and outlines are drawn with.
    static constexpr int kSubPixelBits = 4;

    Raster() = default;
    Raster(const cv::Rect2f& area, float scale) : area_(area), scale_(scale) {}

    const cv::Rect2f& area() const { return area_; }
    float scale() const { return scale_; }

    cv::Size size() const {
        return {cvRound(area_.width * scale_), cvRound(area_.height * scale_)};
    }

    cv::Point subPixel(const cv::Point2f& palm) const {
        const float unit = scale_ * static_cast<float>(1 << kSubPixelBits);
        return {cvRound((palm.x - area_.x) * unit),
                cvRound((area_.y + area_.height - palm.y) * unit)};
    }

    // The part of it that some of its pixels make up.
    Raster part(const cv::Rect& pixels) const {
        const auto top = area_.y + area_.height - static_cast<float>(pixels.y) / scale_;
        const cv::Size2f size(static_cast<float>(pixels.width) / scale_,
                              static_cast<float>(pixels.height) / scale_);
        return {{{area_.x + static_cast<float>(pixels.x) / scale_, top - size.height}, size},
                scale_};
    }

private:
    cv::Rect2f area_;
    float scale_ = 0.0f;
};

}  // namespace brairu
