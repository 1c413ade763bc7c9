// Comparisons, counted for every way to make one score of three similarities.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "evaluation/comparisons.h"
#include "evaluation/scoreDistribution.h"

namespace brairu::tool {

// The thresholds of the configuration, and what may be asked with them.
struct Thresholds {
    float auth = 0.0f;
    float filter = 0.0f;

    // Identification: every block has to exceed its threshold.
    bool identifies(const BlockSimilarities& scores) const;
    // Verification: the third block is granted less.
    bool verifies(const BlockSimilarities& scores) const;
};

// Names of the ways, in the order of the tables. The joint ones are scores of one rule each: they
// reach a value when the rule, with that value as auth_threshold, accepts.
enum class Way : std::uint8_t {
    block0,
    block1,
    block2,
    mean,
    firstTwo,        // blocks 0 and 1
    allThree,        // identification with filter_threshold = auth_threshold
    identification,  // with filter_threshold as far from auth_threshold as configured
    verification,    // block 2 granted 0.1
};
inline constexpr std::size_t kWays = 8;

const char* nameOf(Way way);

// How far filter_threshold may lie from auth_threshold, for the table of the two thresholds.
inline constexpr std::array kFilterOffsets{-0.2f, -0.1f, 0.0f, 0.1f, 0.2f};

class ScoreSheet {
public:
    explicit ScoreSheet(Thresholds thresholds) : thresholds_(thresholds) {}

    void add(const BlockSimilarities& scores, bool isGenuine);

    const ScorePair& scores(Way way) const { return ways_[static_cast<std::size_t>(way)]; }
    const ScorePair& withFilterOffset(std::size_t index) const { return offsets_[index]; }
    float scoreOf(Way way, const BlockSimilarities& scores) const;

    Thresholds thresholds() const { return thresholds_; }

    // Comparisons that a rule decided with the configured thresholds.
    struct Decisions {
        std::uint64_t genuine = 0;
        std::uint64_t genuineAccepted = 0;
        std::uint64_t impostors = 0;
        std::uint64_t impostorsAccepted = 0;

        double falseMatch() const;
        double falseNonMatch() const;
        void add(bool isGenuine, bool isAccepted);
    };
    const Decisions& identification() const { return identification_; }
    const Decisions& verification() const { return verification_; }

private:
    Thresholds thresholds_;
    std::array<ScorePair, kWays> ways_;
    std::array<ScorePair, kFilterOffsets.size()> offsets_;
    Decisions identification_;
    Decisions verification_;
};

}  // namespace brairu::tool
