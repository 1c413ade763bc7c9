// From a well placed hand to the three upright palm images that the feature networks see.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "brairu.h"
#include "utils/frameSize.h"

namespace brairu {

// Grey images of the feature networks' input size.
struct PalmImages {
    cv::Mat regionA;  // the middle 0.75 of the crop
    cv::Mat regionB;  // the middle 0.6 of the crop
    cv::Mat whole;    // the whole upright crop
};

// Cuts the palm out of a grey frame. Moves the centre of pose from the hand to the palm. Returns 0,
// or the code that stops the capture: 15 for a box without area, 1 or 3 for regions that do not fit
// the crop. featureInput is the networks' input size; throws std::invalid_argument unless both
// sides are 1 to 4096. Pixels outside the frame are black.
std::uint32_t extractPalm(const cv::Mat& frame, FrameSize featureInput, PvaHandPose& pose,
                          PalmImages& images);

// The steps, in their order.
void moveCentreToPalm(PvaHandPose& pose, FrameSize featureInput);
cv::Rect cropRectangle(const PvaHandPose& pose);
cv::Size cropSize(FrameSize featureInput);
std::vector<cv::Point> keyPointsInCrop(const PvaHandPose& pose, cv::Rect rectangle, cv::Size crop);
float uprightAngle(const std::vector<cv::Point>& keyPoints, int orientation);
cv::Mat rotatedUpright(const cv::Mat& crop, float angle);

}  // namespace brairu
