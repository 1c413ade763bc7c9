#include "evaluation/identificationTrials.h"

#include <algorithm>

namespace brairu::tool {
void IdentificationTrials::add(const Comparison& comparison, float score) {
    Trial& trial = trials_[comparison.probe];
    if (comparison.isGenuine()) {
        trial.own = score;
        trial.ownFirst = comparison.scores[0];
        return;
    }
    trial.highestOther = std::max(trial.highestOther, score);
    if (comparison.scores[0] > trial.ownFirst) {
        trial.highestBefore = std::max(trial.highestBefore, score);
    }
}

IdentificationPoint IdentificationTrials::forFalsePositive(double rate) const {
    ScoreDistribution others;
    ScoreDistribution own;
    // At a threshold that both reach, the search takes the other palm for the own one.
    ScoreDistribution mistaken;
    for (const auto& [probe, trial] : trials_) {
        others.add(trial.highestOther);
        own.add(trial.own);
        mistaken.add(std::min(trial.own, trial.highestBefore));
    }
    const auto all = static_cast<double>(trials_.size());
    const std::vector<std::uint64_t> reaching = others.reaching();
    const int step = firstStepWhere(
        reaching, [&](std::uint64_t count) { return static_cast<double>(count) <= rate * all; });
    const auto index = static_cast<std::size_t>(step);
    const auto found = static_cast<double>(own.reaching()[index] - mistaken.reaching()[index]);
    return {ScoreDistribution::thresholdOf(step), static_cast<double>(reaching[index]) / all,
            1.0 - found / all};
}

}  // namespace brairu::tool
