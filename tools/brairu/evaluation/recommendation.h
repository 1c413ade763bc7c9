// The threshold for a false-accept rate and a gallery size, and how far the comparisons bear it.
#pragma once

#include <cstdint>
#include <optional>

#include "evaluation/errorCurve.h"

namespace brairu::tool {

// What an integrator asks for.
struct Target {
    double falseAccept = 0.0;  // of one search of the gallery, or of one verification
    double comparisons = 1.0;  // templates that one search compares with
};

struct RecommendedPoint {
    OperatingPoint point;          // what the comparisons gave at the threshold
    double falseMatchBound = 0.0;  // not exceeded, with 95 % confidence
    double falseAccept = 0.0;      // of a search, at that bound
    double falseNonMatchBound = 0.0;
};

struct Recommendation {
    double neededFalseMatch = 0.0;  // of one comparison
    std::uint64_t comparisonsNeeded = 0;
    bool isTold = false;  // there are enough comparisons to tell the needed rate
    // The lowest threshold whose false-match rate, at 95 % confidence, is no larger than needed.
    // Nothing when that cannot be told, or when no threshold keeps it.
    std::optional<RecommendedPoint> chosen;
    // The lowest threshold that no comparison of two palms reached, if there is one.
    std::optional<double> unreached;
};

Recommendation recommend(const ErrorCurve& curve, const Target& target);

}  // namespace brairu::tool
