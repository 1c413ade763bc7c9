// The comparisons that deserve a look: captures of one palm that are least alike, and of two that
// are most. A picture under the wrong name shows here first.
#pragma once

#include <vector>

#include "evaluation/comparisons.h"

namespace brairu::tool {

struct ScoredComparison {
    Comparison comparison;
    float score = 0.0f;
};

class NearMisses {
public:
    explicit NearMisses(std::size_t kept) : kept_(kept) {}

    void add(const Comparison& comparison, float score);

    // The most striking first.
    const std::vector<ScoredComparison>& genuine() const { return genuine_; }
    const std::vector<ScoredComparison>& impostors() const { return impostors_; }

private:
    std::size_t kept_;
    std::vector<ScoredComparison> genuine_;
    std::vector<ScoredComparison> impostors_;
};

}  // namespace brairu::tool
