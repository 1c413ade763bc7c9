#include "evaluation/recommendation.h"

#include "evaluation/confidence.h"

namespace brairu::tool {
namespace {

std::optional<RecommendedPoint> choose(const ErrorCurve& curve, const Target& target, double rate) {
    RecommendedPoint chosen;
    chosen.point = curve.forFalseMatchBound(rate);
    chosen.falseMatchBound = upperBound(chosen.point.falseMatches, curve.impostors());
    if (chosen.falseMatchBound > rate) {
        return std::nullopt;
    }
    chosen.falseAccept = rateOfAny(chosen.falseMatchBound, target.comparisons);
    chosen.falseNonMatchBound = upperBound(chosen.point.falseNonMatches, curve.genuine());
    return chosen;
}

std::optional<double> lowestUnreached(const ErrorCurve& curve) {
    const OperatingPoint point = curve.forFalseMatch(0.0);
    return point.falseMatches == 0 ? std::optional(point.threshold) : std::nullopt;
}

}  // namespace

Recommendation recommend(const ErrorCurve& curve, const Target& target) {
    Recommendation result;
    result.neededFalseMatch = rateOfEach(target.falseAccept, target.comparisons);
    result.comparisonsNeeded = trialsToTell(result.neededFalseMatch);
    result.isTold = lowestTold(curve.impostors()) <= result.neededFalseMatch;
    if (result.isTold) {
        result.chosen = choose(curve, target, result.neededFalseMatch);
    }
    result.unreached = lowestUnreached(curve);
    return result;
}

}  // namespace brairu::tool
