#pragma once

#include <string>

#include "engine/capture.h"

namespace brairu::tool {

// Writes the frame with the box and key points of the best candidate, green for a good capture and
// red for any other, to a picture file. Throws InputFault when it cannot be written.
void drawHand(const cv::Mat& luma, const Capture& capture, const std::string& path);

}  // namespace brairu::tool
