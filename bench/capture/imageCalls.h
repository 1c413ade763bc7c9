#pragma once

#include <opencv2/core.hpp>

#include "capture/captureSteps.h"

namespace brairu::bench {

// The bare calls of OpenCV that make the same images, in the same sizes: the least that a capture
// built on OpenCV takes. Their results have their memory beforehand.
class ImageCalls {
public:
    explicit ImageCalls(const FoundPalm& palm);

    void all();
    // Those whose images the library makes as well: it has the sharpness and the network frames
    // without an image in between.
    void shared();

    void scaleToInput();
    void cutCrop();
    void turnCrop();
    void cutRegions();
    void measureBrightness();
    void judge();
    void makeFrames();

private:
    void makeFrame(const cv::Mat& grey);

    FoundPalm palm_;
    cv::Mat input_;
    cv::Mat crop_;
    cv::Mat turned_;
    cv::Mat regionA_;
    cv::Mat regionB_;
    cv::Mat whole_;
    cv::Mat laplacian_;
    cv::Mat colour_;
    cv::Mat frame_;
};

}  // namespace brairu::bench
