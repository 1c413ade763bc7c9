// The two frames that networks are given: a camera's luma scaled to the detector's input, and a
// grey palm image in the broadcast range. Both are 4:2:0 with neutral chroma.
#pragma once

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "utils/frameSize.h"

namespace brairu {

// Scales a packed luma plane to the network's input by nearest neighbour and appends neutral
// chroma, so that the network sees grey whatever the camera delivers. input.width x input.height x
// 3 / 2 bytes.
std::vector<std::uint8_t> detectorFrame(const std::uint8_t* luma, FrameSize frame, FrameSize input);

// Planar 4:2:0 of a grey image with even sides: luma 16 + 0.859 x grey, then both chroma planes. Uses
// the memory of reused if that is a frame of this size, and no part of another.
cv::Mat featureFrame(const cv::Mat& grey, cv::Mat reused = {});

}  // namespace brairu
