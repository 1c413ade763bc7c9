#include "evaluation/recommendedThresholds.h"

#include <algorithm>

#include "evaluation/confidence.h"
#include "evaluation/sectionText.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

// Settings for a rule, and what is known of them.
std::vector<std::string> recommendationRow(const char* use, const char* settings,
                                           const Recommendation& recommendation) {
    const std::string needed = percent(recommendation.neededFalseMatch);
    if (!recommendation.chosen) {
        return {use, kNotTold, needed, kNotTold, kNotTold, kNotTold, kNotTold};
    }
    const RecommendedPoint& chosen = *recommendation.chosen;
    return {use,
            std::string(settings) + " " + threshold(chosen.point.threshold),
            needed,
            percent(chosen.point.falseMatch),
            percent(chosen.falseMatchBound),
            percent(chosen.falseAccept),
            percent(chosen.point.falseNonMatch)};
}

std::string whyNotTold(const char* use, const Recommendation& recommendation,
                       const Evaluation& evaluation) {
    const std::string needed = "an FMR of " + percent(recommendation.neededFalseMatch);
    const std::string comparisons = grouped(evaluation.sheet().scores(Way::mean).impostor.count());
    if (recommendation.isTold) {
        return std::string("No threshold for ") + use + " has " + needed + " in the " +
               comparisons + " comparisons with other palms.";
    }
    return std::string("Too few palms to recommend a threshold for ") + use + ": " + needed +
           " takes at least " + grouped(recommendation.comparisonsNeeded) +
           " comparisons with other palms, there are " + comparisons + ".";
}

// configured: the lowest threshold of the rule.
std::string insteadOfTold(const Recommendation& recommendation, float configured) {
    if (!recommendation.unreached) {
        return "Some strangers reach every threshold: look for pictures under a wrong name.";
    }
    const std::string unreached = "No stranger reached " + threshold(*recommendation.unreached);
    return *recommendation.unreached <= static_cast<double>(configured)
               ? unreached + ", which is no reason to go below the configured " +
                     plain(static_cast<double>(configured)) + "."
               : unreached +
                     ": raise the configured thresholds to it where they are lower; more people "
                     "may need more.";
}

void addNotTold(Section& section, const char* use, const Recommendation& recommendation,
                const Evaluation& evaluation, float configured) {
    if (!recommendation.chosen) {
        section.after.push_back(whyNotTold(use, recommendation, evaluation) + " " +
                                insteadOfTold(recommendation, configured));
    }
}

std::string palmPairLine(const Evaluation& evaluation) {
    const ScoreDistribution& highest = evaluation.palmPairs().highest();
    const auto step = static_cast<std::size_t>(ScoreDistribution::stepAt(evaluation.threshold()));
    return "Counted by pairs of palms, one is 95 % sure that at most " +
           percent(upperBound(highest.reaching()[step], highest.count())) +
           " of them are ever taken for each other by identification at " +
           threshold(evaluation.threshold()) + ".";
}

}  // namespace

Section recommendedThresholds(const Evaluation& evaluation) {
    const EvaluationPlan& plan = evaluation.plan();
    const Recommendation& search = evaluation.identification();
    const Recommendation& pair = evaluation.verification();
    Section section{"Recommended thresholds", {}, {}, {}};
    section.before = {
        "For a false-accept rate of " + percent(plan.falseAccept) + " and a gallery of " +
        plain(plan.gallery) + " palms" +
        (plan.centres > 1 ? " with " + std::to_string(plan.centres) + " templates each" : "") +
        "."};
    section.table.head = {"",
                          "setting",
                          "FMR needed",
                          "FMR here",
                          "95 % sure: at most",
                          "false accepts at that",
                          "FNMR here"};
    section.table.rows = {
        recommendationRow("identification", "auth_threshold = filter_threshold =", search),
        recommendationRow("verification", "auth_threshold =", pair)};
    addNotTold(section, "identification", search, evaluation,
               std::min(plan.thresholds.auth, plan.thresholds.filter));
    addNotTold(section, "verification", pair, evaluation, plan.thresholds.auth);
    section.after.push_back(palmPairLine(evaluation));
    section.after.emplace_back(
        "One auth_threshold serves both: a host that identifies and verifies takes the higher "
        "one.");
    return section;
}

}  // namespace brairu::tool
