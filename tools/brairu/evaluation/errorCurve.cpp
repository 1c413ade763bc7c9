#include "evaluation/errorCurve.h"

#include <cmath>

#include "evaluation/confidence.h"
#include "evaluation/share.h"

namespace brairu::tool {
namespace {

double difference(const OperatingPoint& point) {
    return std::abs(point.falseMatch - point.falseNonMatch);
}

}  // namespace

ErrorCurve::ErrorCurve(const ScorePair& scores)
    : genuine_(scores.genuine.reaching()), impostor_(scores.impostor.reaching()) {}

OperatingPoint ErrorCurve::at(int step) const {
    const auto index = static_cast<std::size_t>(step);
    OperatingPoint point;
    point.threshold = ScoreDistribution::thresholdOf(step);
    point.falseMatches = impostor_[index];
    point.falseNonMatches = genuine() - genuine_[index];
    point.falseMatch = share(point.falseMatches, impostors());
    point.falseNonMatch = share(point.falseNonMatches, genuine());
    return point;
}

OperatingPoint ErrorCurve::atThreshold(double threshold) const {
    return at(ScoreDistribution::stepAt(threshold));
}

OperatingPoint ErrorCurve::equalError() const {
    OperatingPoint best = at(0);
    for (int step = 1; step < steps(); ++step) {
        const OperatingPoint point = at(step);
        if (difference(point) < difference(best)) {
            best = point;
        }
    }
    return best;
}

OperatingPoint ErrorCurve::forFalseMatch(double rate) const {
    return at(firstStepWhere(impostor_, [&](std::uint64_t falseMatches) {
        return share(falseMatches, impostors()) <= rate;
    }));
}

OperatingPoint ErrorCurve::forFalseMatchBound(double rate) const {
    return at(firstStepWhere(impostor_, [&](std::uint64_t falseMatches) {
        return upperBound(falseMatches, impostors()) <= rate;
    }));
}

double equalErrorRate(const ErrorCurve& curve) {
    const OperatingPoint point = curve.equalError();
    return (point.falseMatch + point.falseNonMatch) / 2.0;
}

}  // namespace brairu::tool
