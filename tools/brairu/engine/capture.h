// One frame through the exported capture calls.
#pragma once

#include <array>
#include <cstdint>
#include <opencv2/core.hpp>

#include "brairu.h"

namespace brairu::tool {

using Features = std::array<std::uint8_t, PVA_FEATURE_BYTES>;

struct Capture {
    bool candidate = false;  // something scored like a hand; found describes it
    bool hand = false;       // it is a usable hand
    PvaHandPose found{};     // as detected
    std::uint32_t code = 0;  // of pvaGetFeat, for a usable hand
    Features features{};     // with code 0

    bool isGood() const { return hand && code == PVA_PLACEMENT_GOOD; }
};

// luma: grey, continuous.
Capture captureFrom(const cv::Mat& luma);

// How sure the network is of the best candidate in a frame, in per cent of a hand. Found with the
// exported calls alone: the largest threshold that the frame still passes. The engine's
// configuration is rewritten meanwhile; threshold is what it goes back to.
int handScore(const cv::Mat& luma, float threshold);

}  // namespace brairu::tool
