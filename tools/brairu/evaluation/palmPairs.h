// Comparisons of two palms, by pairs of palms: captures of one pair are alike, and a hundred of them
// say less than one each of a hundred pairs.
#pragma once

#include <vector>

#include "evaluation/comparisons.h"
#include "evaluation/scoreDistribution.h"

namespace brairu::tool {

class PalmPairs {
public:
    // Of comparisons of two palms; which of them is the probe makes no other pair.
    void add(const Comparison& comparison, float score);

    // The highest score of each pair; call finish before, after the last.
    const ScoreDistribution& highest() const { return highest_; }
    void finish();

private:
    // By the palm of the higher number, then by the other.
    std::vector<std::vector<float>> pairs_;
    ScoreDistribution highest_;
};

}  // namespace brairu::tool
