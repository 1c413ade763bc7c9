// A capture, explained: what came of it, why, and what to do.
#pragma once

#include <optional>

#include "config/configStore.h"
#include "engine/capture.h"
#include "explanations/words.h"
#include "measures/measure.h"

namespace brairu::tool {

struct Explanation {
    Words words;
    Measures measures;  // all that could be measured, in the order of the library's checks
    Measures reasons;   // those of them that decided
};

// score: of the best candidate, if it was asked for.
Explanation explain(const cv::Mat& luma, const Capture& capture, ConfigDocument& config,
                    std::optional<int> score = std::nullopt);

}  // namespace brairu::tool
