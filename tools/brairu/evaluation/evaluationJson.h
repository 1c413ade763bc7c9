// An evaluation for programs. Rates are shares, not per cent.
#pragma once

#include "evaluation/evaluation.h"
#include "report/report.h"

namespace brairu::tool {

Json jsonOf(const Evaluation& evaluation);

}  // namespace brairu::tool
