// False matches and false non-matches over all thresholds, in the terms of ISO/IEC 19795-1: of
// comparisons of captures that gave features.
#pragma once

#include <cstdint>
#include <vector>

#include "evaluation/scoreDistribution.h"

namespace brairu::tool {

struct OperatingPoint {
    double threshold = 0.0;  // reached by what is accepted
    double falseMatch = 0.0;
    double falseNonMatch = 0.0;
    std::uint64_t falseMatches = 0;
    std::uint64_t falseNonMatches = 0;
};

class ErrorCurve {
public:
    explicit ErrorCurve(const ScorePair& scores);

    std::uint64_t genuine() const { return genuine_.front(); }
    std::uint64_t impostors() const { return impostor_.front(); }

    int steps() const { return static_cast<int>(genuine_.size()); }
    OperatingPoint at(int step) const;
    OperatingPoint atThreshold(double threshold) const;

    // Where both rates are nearest to each other.
    OperatingPoint equalError() const;

    // The lowest threshold whose false-match rate is no larger than this; the highest there is if
    // none has so low a one.
    OperatingPoint forFalseMatch(double rate) const;

    // The same for the rate that, at 95 % confidence, is not exceeded.
    OperatingPoint forFalseMatchBound(double rate) const;

private:
    // Comparisons that reach each step.
    std::vector<std::uint64_t> genuine_;
    std::vector<std::uint64_t> impostor_;
};

// The rate that both errors have at the point of equal error: their mean.
double equalErrorRate(const ErrorCurve& curve);

}  // namespace brairu::tool
