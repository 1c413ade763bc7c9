// A rendered palm before a camera, of which a picture changes one thing at a time.
#pragma once

#include <cstdint>

#include "renderer/palmRenderer.h"

namespace brairu::tool {

inline const cv::Size kPictureFrame(640, 480);

// Of the rendered people of all pictures, whom no training saw.
inline constexpr std::uint64_t kPictureSeed = 900001;

PalmIdentity picturedPalm(int person = 0);

// Held square to the camera, in the middle of the frame, sharp and evenly lit before black.
CaptureConditions steadyHand(const PalmIdentity& palm);

}  // namespace brairu::tool
