#pragma once

#include "renderer/silhouette.h"

namespace brairu {

// An open hand with its forearm running out towards -y.
Silhouette openHand(const HandShape& shape, const CaptureConditions& conditions);

// From the wrist's crease to the tip of the middle finger as it is held; the length of the hand as
// ISO 7250-1 has it.
std::array<cv::Point2f, 2> lengthwise(const HandShape& shape, const CaptureConditions& conditions);

}  // namespace brairu
