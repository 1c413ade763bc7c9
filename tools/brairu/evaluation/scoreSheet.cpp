#include "evaluation/scoreSheet.h"

#include <algorithm>

#include "evaluation/share.h"

namespace brairu::tool {
namespace {

// NaN if any is: no threshold accepts it.
float least(float a, float b) {
    return a < b || a != a ? a : b;
}

// What auth_threshold may be for a rule whose third threshold lies that far from it.
float ruleScore(const BlockSimilarities& scores, float filterOffset) {
    return least(least(scores[0], scores[1]), scores[2] - filterOffset);
}

const float kVerificationOffset = static_cast<float>(thirdBlockThreshold(0.0f));

}  // namespace

bool Thresholds::identifies(const BlockSimilarities& scores) const {
    return scores[0] > auth && scores[1] > auth && scores[2] > filter;
}

bool Thresholds::verifies(const BlockSimilarities& scores) const {
    return isSamePalm(scores, auth);
}

const char* nameOf(Way way) {
    switch (way) {
        case Way::block0: return "block 0";
        case Way::block1: return "block 1";
        case Way::block2: return "block 2";
        case Way::mean: return "mean of the three";
        case Way::firstTwo: return "blocks 0 and 1";
        case Way::allThree: return "all three";
        case Way::identification: return "identification (1:N)";
        case Way::verification: return "verification (1:1)";
    }
    return "";
}

double ScoreSheet::Decisions::falseMatch() const {
    return share(impostorsAccepted, impostors);
}

double ScoreSheet::Decisions::falseNonMatch() const {
    return share(genuine - genuineAccepted, genuine);
}

void ScoreSheet::Decisions::add(bool isGenuine, bool isAccepted) {
    ++(isGenuine ? genuine : impostors);
    (isGenuine ? genuineAccepted : impostorsAccepted) += isAccepted ? 1 : 0;
}

void ScoreSheet::add(const BlockSimilarities& scores, bool isGenuine) {
    for (std::size_t way = 0; way < kWays; ++way) {
        ways_[way].add(scoreOf(static_cast<Way>(way), scores), isGenuine);
    }
    for (std::size_t i = 0; i < kFilterOffsets.size(); ++i) {
        offsets_[i].add(ruleScore(scores, kFilterOffsets[i]), isGenuine);
    }
    identification_.add(isGenuine, thresholds_.identifies(scores));
    verification_.add(isGenuine, thresholds_.verifies(scores));
}

float ScoreSheet::scoreOf(Way way, const BlockSimilarities& scores) const {
    switch (way) {
        case Way::block0: return scores[0];
        case Way::block1: return scores[1];
        case Way::block2: return scores[2];
        case Way::mean: return (scores[0] + scores[1] + scores[2]) / 3.0f;
        case Way::firstTwo: return least(scores[0], scores[1]);
        case Way::allThree: return ruleScore(scores, 0.0f);
        case Way::identification: return ruleScore(scores, thresholds_.filter - thresholds_.auth);
        case Way::verification: return ruleScore(scores, kVerificationOffset);
    }
    return 0.0f;
}

}  // namespace brairu::tool
