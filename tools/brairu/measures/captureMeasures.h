// What the library measures of a hand and of a palm, by its own functions.
#pragma once

#include <opencv2/core.hpp>

#include "brairu.h"
#include "config/configStore.h"
#include "measures/measure.h"

namespace brairu::tool {

// Margins and size of the hand box, in whole per cent of the frame, as the placement check counts
// them. The library's judge tells no more than its verdict, so each value is where the verdict
// turns.
Measures measurePlacement(const PvaHandPose& pose, cv::Size frame, ConfigDocument& config);

// Brightness and sharpness of the palm under a well placed hand; nothing for a hand whose palm
// cannot be cut out.
Measures measureQuality(const cv::Mat& luma, const PvaHandPose& pose, ConfigDocument& config);

// Why the detector takes no hand in a candidate, found by asking it again with one of its tests
// made easy to pass.
enum class HandFault { none, tooLarge, slanted, notAPalm };
HandFault handFault(const PvaHandPose& pose, cv::Size frame);

}  // namespace brairu::tool
