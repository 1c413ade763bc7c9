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

    // Where a place on the palm lies, in pixels from the upper left corner.
    cv::Point2f pixel(const cv::Point2f& palm) const {
        return {(palm.x - area_.x) * scale_, (area_.y + area_.height - palm.y) * scale_};
    }

    // The place on the palm that lies there.
    cv::Point2f place(const cv::Point2f& pixel) const {
        return {area_.x + pixel.x / scale_, area_.y + area_.height - pixel.y / scale_};
    }

    // As lines and outlines are drawn: pixels in fixed point.
    cv::Point subPixel(const cv::Point2f& palm) const {
        return pixel(palm) * static_cast<float>(1 << kSubPixelBits);
    }

    // The part of it that some of its pixels make up.
    Raster part(const cv::Rect& pixels) const {
        const cv::Point2f corner = place(pixels.tl());
        const cv::Size2f size(static_cast<float>(pixels.width) / scale_,
                              static_cast<float>(pixels.height) / scale_);
        return {{{corner.x, corner.y - size.height}, size}, scale_};
    }

private:
    cv::Rect2f area_;
    float scale_ = 0.0f;
};

}  // namespace brairu
