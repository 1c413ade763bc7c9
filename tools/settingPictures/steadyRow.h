// A row of frames of the steady hand, in which one thing changes.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "config/configStore.h"
#include "settingPictures/frameRow.h"
#include "settingPictures/look.h"
#include "settingPictures/steadyHand.h"

namespace brairu::tool {

using Change = std::function<void(CaptureConditions&, float)>;
// Completes a shot of the whole frame that has its verdict already.
using Describe = std::function<void(Shot&, const Look&)>;

// A shot of each value. The engine must be started.
FrameRow steadyRow(const std::string& title, std::span<const float> values, const Change& change,
                   const Describe& describe, ConfigDocument& config);

}  // namespace brairu::tool
