// Many similarities, counted by steps of 1/10000: comparisons by the million take no more room than
// a few.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <vector>

namespace brairu::tool {

class ScoreDistribution {
public:
    // Thresholds of the curves are whole steps from -1 to 1.
    static constexpr int kStepsPerUnit = 10'000;
    static constexpr int kSteps = 2 * kStepsPerUnit + 1;

    // Beyond -1 and 1 counts as -1 and 1, and what is no number as -1: no threshold accepts it.
    void add(float score);

    std::uint64_t count() const { return count_; }

    // How many scores reach the threshold of each step, -1 first.
    std::vector<std::uint64_t> reaching() const;

    // The score that this share of all lies below; 0 for none at all.
    double quantile(double share) const;
    double largest() const { return quantile(1.0); }

    const std::vector<std::uint64_t>& counts() const { return counts_; }

    // The threshold of a step, and the first step whose threshold is at least this.
    static double thresholdOf(int step);
    static int stepAt(double threshold);

private:
    std::vector<std::uint64_t> counts_ = std::vector<std::uint64_t>(kSteps);
    std::uint64_t count_ = 0;
};

// Of counts that reach each step, the first step whose count fits; the last step if none does. Counts
// fall from step to step, and where one fits, lower ones have to fit too.
template <typename Fits>
int firstStepWhere(const std::vector<std::uint64_t>& reaching, Fits fits) {
    const auto found = std::ranges::partition_point(reaching, std::not_fn(fits));
    return static_cast<int>(std::min(found, std::prev(reaching.end())) - reaching.begin());
}

// Of comparisons of captures of one palm, and of two.
struct ScorePair {
    ScoreDistribution genuine;
    ScoreDistribution impostor;

    void add(float score, bool isGenuine) { (isGenuine ? genuine : impostor).add(score); }
};

}  // namespace brairu::tool
