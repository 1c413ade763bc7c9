#include "evaluation/goals.h"

#include <array>
#include <filesystem>

#include "evaluation/confidence.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

constexpr double kMegabyte = 1e6;

double modelBytes(ConfigDocument& config) {
    constexpr std::array kFiles{std::pair("handpose", "model_path_net"),
                                std::pair("handpose", "model_path_blobs"),
                                std::pair("feature", "model_path_net"),
                                std::pair("feature", "model_path_blobs"),
                                std::pair("feature", "support_model_path_net"),
                                std::pair("feature", "support_model_path_blobs")};
    double bytes = 0.0;
    for (const auto& [section, key] : kFiles) {
        bytes += static_cast<double>(
            std::filesystem::file_size(config[section][key].get<std::string>()));
    }
    return bytes;
}

double milliseconds(const CaptureSet& set) {
    constexpr double kPerSecond = 1000.0;
    return kPerSecond * set.seconds / static_cast<double>(set.captures.size());
}

std::string valueText(double value, const std::string& unit) {
    return unit == "%" ? percent(value) : rounded(value, 1) + " " + unit;
}

void addErrorRates(std::vector<Goal>& goals, const Evaluation& evaluation) {
    constexpr double kRate = 1e-4;
    const ErrorCurve mean(evaluation.sheet().scores(Way::mean));
    goals.push_back(
        {"equal error rate, mean of the three", equalErrorRate(mean), 0.003, false, "%"});
    goals.push_back({"own palm accepted at FMR 0.01 %, mean of the three",
                     1.0 - mean.forFalseMatch(kRate).falseNonMatch, 0.99, true, "%",
                     lowestTold(mean.impostors()) <= kRate});
}

void addSearches(std::vector<Goal>& goals, const Evaluation& evaluation) {
    constexpr double kRate = 1e-3;
    if (evaluation.enrolment() && evaluation.trials().searches() > 0) {
        goals.push_back({"FNIR at FPIR 0.1 %, gallery of " +
                             grouped(evaluation.enrolment()->palms.size()) + " palms",
                         evaluation.trials().forFalsePositive(kRate).falseNegative, 0.01, false,
                         "%", lowestTold(evaluation.trials().searches()) <= kRate});
    }
}

void addAlarms(std::vector<Goal>& goals, const AlarmTally& tally, const std::string& which) {
    constexpr double kRate = 1e-3;
    if (tally.frames > 0) {
        goals.push_back({"false alarms on " + grouped(tally.frames) + " frames " + which,
                         tally.share(), kRate, false, "%",
                         tally.share() > kRate || lowestTold(tally.frames) <= kRate});
    }
}

void addDetection(std::vector<Goal>& goals, const DetectionTally& detection) {
    goals.push_back({"hands found", detection.foundShare(), 0.995, true, "%"});
    goals.push_back(
        {"key points off, of the hand's length", detection.errorOfLength(), 0.02, false, "%"});
    goals.push_back({"key points off, of the long side of their box", detection.errorOfBox(), 0.02,
                     false, "%"});
    addAlarms(goals, detection.allAlarms(), "without an open palm");
    addAlarms(goals, detection.withoutHand, "among them without any hand");
    addAlarms(goals, detection.otherHands, "among them with a fist, a sign, fingers or a back");
}

std::string verdict(const Goal& goal) {
    if (!goal.isTold) {
        return "too few to tell";
    }
    return goal.isMet() ? "met" : "missed";
}

}  // namespace

std::vector<Goal> goalsOf(const Evaluation& evaluation, const DetectionTally& detection,
                          ConfigDocument& config) {
    std::vector<Goal> goals;
    addErrorRates(goals, evaluation);
    addSearches(goals, evaluation);
    addDetection(goals, detection);
    goals.push_back({"networks on disk", modelBytes(config) / kMegabyte, 8.0, false, "MB"});
    goals.push_back(
        {"one capture, on one core", milliseconds(evaluation.set()), 15.0, false, "ms"});
    return goals;
}

Section sectionOf(const std::vector<Goal>& goals) {
    Section section{"Goals", {}, {{"", "measured", "goal", ""}, {}}, {}};
    for (const Goal& goal : goals) {
        section.table.rows.push_back({goal.what, valueText(goal.value, goal.unit),
                                      std::string(goal.isAtLeast ? "at least " : "at most ") +
                                          valueText(goal.wanted, goal.unit),
                                      verdict(goal)});
    }
    return section;
}

Json jsonOf(const std::vector<Goal>& goals) {
    Json list = Json::array();
    for (const Goal& goal : goals) {
        list.push_back({{"goal", goal.what},
                        {"value", goal.value},
                        {goal.isAtLeast ? "atLeast" : "atMost", goal.wanted},
                        {"unit", goal.unit == "%" ? "share" : goal.unit},
                        {"met", goal.isTold ? Json(goal.isMet()) : Json()}});
    }
    return list;
}

}  // namespace brairu::tool
