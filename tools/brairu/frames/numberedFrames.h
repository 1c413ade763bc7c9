// Goes through frames, counting them and showing how far it is.
#pragma once

#include <functional>

#include "frames/frame.h"
#include "report/frameReport.h"

namespace brairu::tool {

// Visits frames until the source ends or visit returns false. How many were visited.
std::size_t visitFrames(FrameSource& source, Report& report,
                        const std::function<bool(const FrameLabel&, const Frame&)>& visit);

}  // namespace brairu::tool
