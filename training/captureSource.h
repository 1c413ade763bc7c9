#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include <opencv2/core.hpp>

#include "handPose/palmRegion.h"
#include "renderer/palmRenderer.h"
#include "renderer/random.h"

namespace brairu {

// Side of the square input of every network.
inline constexpr int kNetworkSide = 128;

// A frame size as cameras have it, small ones more often since they are drawn faster.
cv::Size cameraSize(Random& random);

// For detectors: also frames of any other shape, and tiny ones.
cv::Size anySize(Random& random);

// Key points as a good detector reports them: with a small error, rounded to network pixels,
// decoded into the record by the library's own steps. Nothing when the hand would not be usable or
// is badly placed.
std::optional<PvaHandPose> detectedPose(const std::array<cv::Point2f, 7>& truth, cv::Size size,
                                        float error, Random& random);

// The three palm images exactly as the feature networks receive them.
PalmImages palmLuma(const cv::Mat& frame, PvaHandPose pose);

// The luma plane that the detector's network receives.
cv::Mat detectorLuma(const cv::Mat& frame);

}  // namespace brairu
