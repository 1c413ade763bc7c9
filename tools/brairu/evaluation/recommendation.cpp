#include "evaluation/recommendation.h"

#include "evaluation/confidence.h"

namespace brairu::tool {

Recommendation recommend(const ErrorCurve& curve, const Target& target) {
    Recommendation result;
    result.neededFalseMatch = rateOfEach(target.falseAccept, target.comparisons);
    result.isTold = lowestTold(curve.impostors()) <= result.neededFalseMatch;
    result.comparisonsNeeded = trialsToTell(result.neededFalseMatch);
    result.point = curve.forFalseMatch(result.isTold ? result.neededFalseMatch : 0.0);
    result.falseMatchBound = upperBound(result.point.falseMatches, curve.impostors());
    result.falseAccept = rateOfAny(result.falseMatchBound, target.comparisons);
    result.falseNonMatchBound = upperBound(result.point.falseNonMatches, curve.genuine());
    return result;
}

}  // namespace brairu::tool
