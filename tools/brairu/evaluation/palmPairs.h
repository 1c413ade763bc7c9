// Comparisons of two palms, by pairs of palms: captures of one pair are alike, and a hundred of them
// say less than one each of a hundred pairs.
#pragma once

#include <optional>

#include "evaluation/comparisons.h"
#include "evaluation/scoreDistribution.h"

namespace brairu::tool {

class PalmPairs {
public:
    // Of comparisons of two palms, pair by pair.
    void add(const Comparison& comparison, float score);

    // The highest score of each pair so far; call finish before.
    const ScoreDistribution& highest() const { return highest_; }
    void finish();

private:
    struct Pair {
        std::size_t probePalm;
        std::size_t referencePalm;
        float highest;
    };

    std::optional<Pair> current_;
    ScoreDistribution highest_;
};

}  // namespace brairu::tool
