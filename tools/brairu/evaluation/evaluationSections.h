// An evaluation in words and tables.
#pragma once

#include <vector>

#include "evaluation/evaluation.h"
#include "report/section.h"

namespace brairu::tool {

std::vector<Section> sectionsOf(const Evaluation& evaluation);

}  // namespace brairu::tool
