#pragma once

#include <opencv2/core.hpp>

namespace brairu {

// A black grey image of any size. Only what is drawn on takes memory, so that a cut far larger than
// the frame costs no more than the frame.
class BlackCanvas {
public:
    // size must have an area. Throws std::bad_alloc where the address space has no room for it.
    explicit BlackCanvas(cv::Size size);
    ~BlackCanvas();
    BlackCanvas(const BlackCanvas&) = delete;
    BlackCanvas& operator=(const BlackCanvas&) = delete;

    // Valid as long as this object.
    const cv::Mat& image() const { return image_; }

private:
    cv::Mat image_;
};

}  // namespace brairu
