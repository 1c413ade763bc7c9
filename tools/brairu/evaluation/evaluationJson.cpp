#include "evaluation/evaluationJson.h"

#include <algorithm>
#include <array>
#include <map>

#include "evaluation/confidence.h"

namespace brairu::tool {
namespace {

constexpr std::array kFalseMatchRates{1e-2, 1e-3, 1e-4, 1e-5};
constexpr std::array kWaysTold{std::pair("block0", Way::block0),
                               std::pair("block1", Way::block1),
                               std::pair("block2", Way::block2),
                               std::pair("mean", Way::mean),
                               std::pair("blocks0and1", Way::firstTwo),
                               std::pair("allThree", Way::allThree),
                               std::pair("verification", Way::verification)};

Json capturesJson(const CaptureSet& set) {
    std::map<std::string, std::uint64_t> refusals;
    Json refused = Json::array();
    for (const EvaluatedCapture& capture : set.captures) {
        if (!capture.isAcquired() && capture.palm < set.firstBystander) {
            ++refusals[capture.refusalId];
            refused.push_back({{"frame", capture.name},
                               {"palm", set.palms[capture.palm]},
                               {"result", capture.refusalId},
                               {"message", capture.refusal}});
        }
    }
    return {{"palms", std::min(set.palms.size(), set.firstBystander)},
            {"frames", set.probesTaken()},
            {"acquired", set.probesAcquired()},
            {"failureToAcquire", set.failureToAcquire()},
            {"refusals", refusals},
            {"refused", refused},
            {"unreadable", set.unreadable}};
}

// What cannot be told is null.
Json falseNonMatchesJson(const ErrorCurve& curve) {
    Json list = Json::array();
    for (const double rate : kFalseMatchRates) {
        const OperatingPoint point = curve.forFalseMatch(rate);
        const bool isTold = lowestTold(curve.impostors()) <= rate;
        list.push_back({{"fmr", rate},
                        {"fnmr", isTold ? Json(point.falseNonMatch) : Json()},
                        {"threshold", isTold ? Json(point.threshold) : Json()}});
    }
    return list;
}

Json scoresJson(const ScoreSheet& sheet) {
    Json json;
    for (const auto& [name, way] : kWaysTold) {
        const ScorePair& scores = sheet.scores(way);
        const ErrorCurve curve(scores);
        json[name] = {{"eer", equalErrorRate(curve)},
                      {"fnmrAtFmr", falseNonMatchesJson(curve)},
                      {"ownMedian", scores.genuine.quantile(0.5)},
                      {"otherMedian", scores.impostor.quantile(0.5)},
                      {"otherHighest", scores.impostor.largest()}};
    }
    return json;
}

Json decisionsJson(const ScoreSheet::Decisions& decisions, double failureToAcquire) {
    const double acquired = 1.0 - failureToAcquire;
    return {{"genuine", decisions.genuine},
            {"genuineAccepted", decisions.genuineAccepted},
            {"impostors", decisions.impostors},
            {"impostorsAccepted", decisions.impostorsAccepted},
            {"fmr", decisions.falseMatch()},
            {"fmrAtMost", upperBound(decisions.impostorsAccepted, decisions.impostors)},
            {"fnmr", decisions.falseNonMatch()},
            {"far", decisions.falseMatch() * acquired},
            {"frr", failureToAcquire + decisions.falseNonMatch() * acquired}};
}

// Without a recommendation all that would be said of it is null.
Json recommendationJson(const Recommendation& recommendation) {
    const std::optional<RecommendedPoint>& chosen = recommendation.chosen;
    const auto orNull = [&](auto value) { return chosen ? Json(value(*chosen)) : Json(); };
    return {
        {"threshold", orNull([](const auto& it) { return it.point.threshold; })},
        {"isTold", recommendation.isTold},
        {"noStrangerReached", recommendation.unreached ? Json(*recommendation.unreached) : Json()},
        {"fmrNeeded", recommendation.neededFalseMatch},
        {"comparisonsNeeded", recommendation.comparisonsNeeded},
        {"fmr", orNull([](const auto& it) { return it.point.falseMatch; })},
        {"fmrAtMost", orNull([](const auto& it) { return it.falseMatchBound; })},
        {"falseAcceptAtMost", orNull([](const auto& it) { return it.falseAccept; })},
        {"fnmr", orNull([](const auto& it) { return it.point.falseNonMatch; })},
        {"fnmrAtMost", orNull([](const auto& it) { return it.falseNonMatchBound; })}};
}

Json searchesJson(const Evaluation& evaluation) {
    Json points = Json::array();
    for (const double rate : {1e-2, 1e-3}) {
        if (lowestTold(evaluation.trials().searches()) <= rate) {
            const IdentificationPoint point = evaluation.trials().forFalsePositive(rate);
            points.push_back({{"fpirAtMost", rate},
                              {"fpir", point.falsePositive},
                              {"fnir", point.falseNegative},
                              {"threshold", point.threshold}});
        }
    }
    return {{"searches", evaluation.trials().searches()},
            {"gallery", evaluation.enrolment()->palms.size()},
            {"failedToEnrol", evaluation.enrolment()->failed.size()},
            {"points", points}};
}

Json enrolmentJson(const EnrolmentCaptures& captures) {
    Json levels = Json::array();
    for (const RepeatRow& row : captures.repeats) {
        levels.push_back({{"level", row.level}, {"cap", row.cap}, {"refused", row.refused}});
    }
    const ScoreDistribution& similarity = captures.similarity;
    return {{"similarity",
             {{"low", similarity.quantile(0.01)},
              {"median", similarity.quantile(0.5)},
              {"high", similarity.quantile(0.99)}}},
            {"later", captures.later},
            {"levels", levels}};
}

Json traitsJson(const std::vector<TraitRow>& rows) {
    Json list = Json::array();
    for (const TraitRow& row : rows) {
        for (const TraitRange& range : row.ranges) {
            list.push_back({{"condition", row.trait.name},
                            {"unit", row.trait.unit},
                            {"from", range.from},
                            {"to", range.to},
                            {"frames", range.captures},
                            {"refused", range.refused},
                            {"comparisons", range.comparisons},
                            {"missed", range.missed}});
        }
    }
    return list;
}

}  // namespace

Json jsonOf(const Evaluation& evaluation) {
    const ScoreSheet& sheet = evaluation.sheet();
    const double lost = evaluation.set().failureToAcquire();
    const EvaluationPlan& plan = evaluation.plan();
    Json json{{"captures", capturesJson(evaluation.set())},
              {"comparisons",
               {{"genuine", sheet.scores(Way::mean).genuine.count()},
                {"impostors", sheet.scores(Way::mean).impostor.count()},
                {"palmPairs", evaluation.palmPairs().highest().count()},
                {"lowestFmrTold", lowestTold(sheet.scores(Way::mean).impostor.count())}}},
              {"scores", scoresJson(sheet)},
              {"configured",
               {{"auth_threshold", sheet.thresholds().auth},
                {"filter_threshold", sheet.thresholds().filter},
                {"identification", decisionsJson(sheet.identification(), lost)},
                {"verification", decisionsJson(sheet.verification(), lost)}}},
              {"recommended",
               {{"falseAccept", plan.falseAccept},
                {"gallery", plan.gallery},
                {"templatesPerPalm", plan.centres},
                {"identification", recommendationJson(evaluation.identification())},
                {"verification", recommendationJson(evaluation.verification())}}}};
    if (evaluation.enrolment()) {
        json["searches"] = searchesJson(evaluation);
    }
    json["enrolment"] = enrolmentJson(evaluation.enrolmentCaptures());
    json["conditions"] = traitsJson(evaluation.traits());
    return json;
}

}  // namespace brairu::tool
