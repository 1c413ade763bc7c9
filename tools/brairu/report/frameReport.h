// An explained frame as text and as JSON.
#pragma once

#include <string>

#include "explanations/explanation.h"
#include "frames/frame.h"
#include "report/report.h"

namespace brairu::tool {

// A frame by its number, which counts from 1, and its name.
struct FrameLabel {
    std::size_t number = 0;
    std::string name;
};

// "frame 3 (IMG_3.png)"
std::string textOf(const FrameLabel& label);

// "refused, too close to the left edge of the picture: left margin 8 % ... Move the hand ..."
std::string refusalOf(const Explanation& explanation);

// {"name": ..., "value": ..., "unit": ..., "above": ..., "passes": ...} for each
Json jsonOf(const Measures& measures);

// {"frame": ..., "number": ..., "result": ..., "message": ..., "advice": ...}
Json jsonOf(const FrameLabel& label, const Explanation& explanation);

// The lines of measures: "    left margin 8 % of the width, needs more than 12 %   <- refused"
void sayMeasures(Report& report, const Measures& measures);

}  // namespace brairu::tool
