// Searches of a gallery, in the terms of ISO/IEC 19795-1.
//
// Each probe searches twice: the whole gallery, where its own palm has to come out (FNIR counts
// those where it does not), and the gallery without its own palm, where nobody must (FPIR).
#pragma once

#include <unordered_map>
#include <vector>

#include "evaluation/comparisons.h"
#include "evaluation/scoreDistribution.h"

namespace brairu::tool {

struct IdentificationPoint {
    double threshold = 0.0;
    double falsePositive = 0.0;  // FPIR
    double falseNegative = 0.0;  // FNIR
};

class IdentificationTrials {
public:
    // score: of the rule. A probe's comparison with its own palm comes before all others.
    void add(const Comparison& comparison, float score);

    std::size_t searches() const { return trials_.size(); }

    // The lowest threshold with at most this share of false positives.
    IdentificationPoint forFalsePositive(double rate) const;

private:
    struct Trial {
        float own = -1.0f;            // score of the own palm
        float ownFirst = -1.0f;       // its similarity in block 0
        float highestOther = -1.0f;   // score of the best other palm
        float highestBefore = -1.0f;  // of those that the search looks at before the own palm
    };

    std::unordered_map<std::size_t, Trial> trials_;  // by probe
};

}  // namespace brairu::tool
