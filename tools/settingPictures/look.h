// One frame as the engine sees it, with the measured values beside their limits.
#pragma once

#include "explanations/explanation.h"

namespace brairu::tool {

struct Look {
    Capture capture;
    Explanation explanation;

    // The value of a measure; throws std::runtime_error when it was not measured.
    const Measure& measure(const std::string& name) const;
};

// The engine must be started.
Look lookAt(const cv::Mat& luma, ConfigDocument& config);

// "code 1 left_edge"; "no hand: slanted"
std::string verdictOf(const Look& look);

// -1 where the least allowed value is missed, 1 where the largest is exceeded, 0 between.
int sideOf(const Measure& measure);

}  // namespace brairu::tool
