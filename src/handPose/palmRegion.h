// From a well placed hand to the three upright palm images that the feature networks see.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <span>

#include "brairu.h"
#include "handPose/geometry.h"
#include "utils/frameSize.h"

namespace brairu {

// Grey images of the feature networks' input size, and those on the way to them. What is kept from
// one palm serves the next as memory.
struct PalmImages {
    cv::Mat regionA;  // the middle 0.75 of the crop
    cv::Mat regionB;  // the middle 0.6 of the crop
    cv::Mat whole;    // the whole upright crop

    cv::Mat crop = {};
    cv::Mat rotated = {};  // the crop, where it has to be turned
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
KeyPoints keyPointsInCrop(const PvaHandPose& pose, cv::Rect rectangle, cv::Size crop);
float uprightAngle(std::span<const cv::Point> keyPoints, int orientation);

// The part of the frame under the rectangle, scaled; black where the rectangle leaves the frame. This
// and the next use the memory of reused if that is an image of the result's size.
cv::Mat scaledCut(const cv::Mat& frame, cv::Rect rectangle, cv::Size size, cv::Mat reused = {});
cv::Mat rotatedUpright(const cv::Mat& crop, float angle, cv::Mat reused = {});

// Cuts and scales the regions and the whole of the upright crop, or returns the code that says why
// not.
std::uint32_t cutRegions(const cv::Mat& upright, FrameSize featureInput, PalmImages& images);

}  // namespace brairu
