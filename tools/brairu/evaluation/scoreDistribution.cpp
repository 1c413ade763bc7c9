#include "evaluation/scoreDistribution.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace brairu::tool {
namespace {

// The step at or below a score.
std::size_t stepOf(float score) {
    if (!(score > -1.0f)) {
        return 0;
    }
    const double steps =
        (std::min(static_cast<double>(score), 1.0) + 1.0) * ScoreDistribution::kStepsPerUnit;
    return static_cast<std::size_t>(steps);
}

}  // namespace

void ScoreDistribution::add(float score) {
    ++counts_[stepOf(score)];
    ++count_;
}

std::vector<std::uint64_t> ScoreDistribution::reaching() const {
    std::vector<std::uint64_t> sums(counts_.size());
    std::partial_sum(counts_.rbegin(), counts_.rend(), sums.rbegin());
    return sums;
}

double ScoreDistribution::quantile(double share) const {
    if (count_ == 0) {
        return 0.0;
    }
    const auto wanted =
        static_cast<std::uint64_t>(std::max(1.0, std::ceil(share * static_cast<double>(count_))));
    std::uint64_t passed = 0;
    int step = 0;
    for (; step < kSteps - 1; ++step) {
        passed += counts_[static_cast<std::size_t>(step)];
        if (passed >= wanted) {
            break;
        }
    }
    return thresholdOf(step);
}

double ScoreDistribution::thresholdOf(int step) {
    return static_cast<double>(step - kStepsPerUnit) / kStepsPerUnit;
}

int ScoreDistribution::stepAt(double threshold) {
    constexpr double kRounding = 1e-6;
    const double steps = std::ceil((threshold + 1.0) * kStepsPerUnit - kRounding);
    return static_cast<int>(std::clamp(steps, 0.0, static_cast<double>(kSteps - 1)));
}

}  // namespace brairu::tool
