// Pictures of an evaluation, as SVG documents.
#pragma once

#include <string>

#include "evaluation/evaluation.h"

namespace brairu::tool {

// How alike captures of one palm are, and of two: block by block, and the mean.
std::string drawHistograms(const Evaluation& evaluation);

// False non-matches against false matches (a detection error trade-off curve), on logarithmic
// scales.
std::string drawTradeOff(const Evaluation& evaluation);

// Misses and refusals by condition. Needs a trait.
std::string drawConditions(const Evaluation& evaluation);

}  // namespace brairu::tool
