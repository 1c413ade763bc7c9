// The thresholds that an evaluation recommends, or why it cannot.
#pragma once

#include "evaluation/evaluation.h"
#include "report/section.h"

namespace brairu::tool {

Section recommendedThresholds(const Evaluation& evaluation);

}  // namespace brairu::tool
