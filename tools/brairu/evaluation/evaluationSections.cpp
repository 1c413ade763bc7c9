#include "evaluation/evaluationSections.h"

#include <algorithm>
#include <array>
#include <map>

#include "evaluation/confidence.h"
#include "evaluation/recommendedThresholds.h"
#include "evaluation/sectionText.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

constexpr int kDigits = 3;  // of similarities
constexpr std::array kFalseMatchRates{1e-2, 1e-3, 1e-4, 1e-5};
constexpr std::array kSingleScores{Way::block0, Way::block1, Way::block2, Way::mean};
constexpr std::array kJointScores{Way::firstTwo, Way::allThree, Way::verification};

std::string similarity(double value) {
    return rounded(value, kDigits);
}

// "12 of 6,960"
std::string outOf(std::uint64_t part, std::uint64_t whole) {
    return grouped(part) + " of " + grouped(whole);
}

Table refusals(const CaptureSet& set) {
    std::map<std::string, std::uint64_t> counts;
    for (const EvaluatedCapture& capture : set.captures) {
        if (!capture.isAcquired() && capture.palm < set.firstBystander) {
            ++counts[capture.refusal];
        }
    }
    Table table;
    for (const auto& [reason, count] : counts) {
        table.head = {"refused because", "frames", "share"};
        table.rows.push_back(
            {reason, grouped(count),
             percent(static_cast<double>(count) / static_cast<double>(set.probesTaken()))});
    }
    return table;
}

std::string comparisonLine(const Evaluation& evaluation) {
    const ScorePair& scores = evaluation.sheet().scores(Way::allThree);
    return "Compared: " + grouped(scores.genuine.count()) + " times a palm with itself, " +
           grouped(scores.impostor.count()) + " times with another (" +
           grouped(evaluation.palmPairs().highest().count()) + " pairs of palms).";
}

std::string enrolmentLine(const Evaluation& evaluation) {
    const Enrolment& enrolment = *evaluation.enrolment();
    const auto all = enrolment.palms.size() + enrolment.failed.size();
    return "Enrolled from " +
           counted(static_cast<long long>(evaluation.plan().enrolment), "capture") + ": " +
           outOf(enrolment.palms.size(), all) + " palms; failure to enrol " +
           percent(static_cast<double>(enrolment.failed.size()) / static_cast<double>(all)) + ".";
}

Section captures(const Evaluation& evaluation) {
    const CaptureSet& set = evaluation.set();
    Section section{"Captures", {}, refusals(set), {}};
    section.before.push_back(
        grouped(set.probesTaken()) + " frames of " +
        counted(static_cast<long long>(std::min(set.palms.size(), set.firstBystander)), "palm") +
        ", " + grouped(set.probesAcquired()) + " gave features; failure to acquire " +
        percent(set.failureToAcquire()) + ".");
    if (!set.unreadable.empty()) {
        section.before.push_back(counted(static_cast<long long>(set.unreadable.size()), "file") +
                                 " could not be read and " +
                                 (set.unreadable.size() == 1 ? "is" : "are") + " not counted.");
    }
    if (evaluation.enrolment()) {
        section.after.push_back(enrolmentLine(evaluation));
    }
    section.after.push_back(comparisonLine(evaluation));
    return section;
}

std::string missesAt(const ErrorCurve& curve, double rate) {
    return lowestTold(curve.impostors()) <= rate ? percent(curve.forFalseMatch(rate).falseNonMatch)
                                                 : kNotTold;
}

std::vector<std::string> errorRow(const Evaluation& evaluation, Way way) {
    const ScorePair& scores = evaluation.sheet().scores(way);
    const ErrorCurve curve(scores);
    std::vector<std::string> row{nameOf(way), percent(equalErrorRate(curve))};
    for (const double rate : kFalseMatchRates) {
        row.push_back(missesAt(curve, rate));
    }
    row.push_back(similarity(scores.genuine.quantile(0.5)));
    row.push_back(similarity(scores.impostor.quantile(0.5)));
    row.push_back(similarity(scores.impostor.largest()));
    return row;
}

Section errorRates(const Evaluation& evaluation) {
    Section section{"Error rates of comparisons", {}, {}, {}};
    section.table.head = {"score", "EER"};
    for (const double rate : kFalseMatchRates) {
        section.table.head.push_back("FNMR at FMR " + percent(rate));
    }
    section.table.head.insert(section.table.head.end(),
                              {"own, median", "other, median", "other, highest"});
    for (const Way way : kSingleScores) {
        section.table.rows.push_back(errorRow(evaluation, way));
    }
    for (const Way way : kJointScores) {
        section.table.rows.push_back(errorRow(evaluation, way));
    }
    const std::uint64_t count = evaluation.sheet().scores(Way::mean).impostor.count();
    const std::uint64_t pairs = evaluation.palmPairs().highest().count();
    section.after = {grouped(count) + " comparisons with other palms tell a false-match rate of " +
                         percent(lowestTold(count)) + " (3/n, the rule of three); \"-\" is below.",
                     "They come from " + grouped(pairs) +
                         " pairs of palms and resemble each other: counted by pairs it is " +
                         percent(lowestTold(pairs)) + "."};
    return section;
}

std::vector<std::string> decisionRow(const char* name, const ScoreSheet::Decisions& decisions,
                                     double failureToAcquire) {
    const double acquired = 1.0 - failureToAcquire;
    return {name,
            percent(decisions.falseMatch()),
            outOf(decisions.impostorsAccepted, decisions.impostors),
            percent(upperBound(decisions.impostorsAccepted, decisions.impostors)),
            percent(decisions.falseNonMatch()),
            percent(decisions.falseMatch() * acquired),
            percent(failureToAcquire + decisions.falseNonMatch() * acquired)};
}

Section configuredRule(const Evaluation& evaluation) {
    const ScoreSheet& sheet = evaluation.sheet();
    const Thresholds thresholds = sheet.thresholds();
    const double lost = evaluation.set().failureToAcquire();
    Section section{"The configured rule", {}, {}, {}};
    section.before = {
        "auth_threshold " + plain(static_cast<double>(thresholds.auth)) + ", filter_threshold " +
        plain(static_cast<double>(thresholds.filter)) +
        ". FMR and FNMR are of comparisons; FAR and FRR also count frames that are refused."};
    section.table.head = {"", "FMR", "accepted", "95 % sure: at most", "FNMR", "FAR", "FRR"};
    section.table.rows = {decisionRow(evaluation.enrolment() ? "identification, one palm"
                                                             : "identification, one template",
                                      sheet.identification(), lost),
                          decisionRow("verification", sheet.verification(), lost)};
    const double searched = evaluation.plan().searched();
    section.after = {
        "A search of " + plain(evaluation.plan().gallery) +
        " palms would take a stranger for one of them in " +
        percent((1.0 - lost) * rateOfAny(sheet.identification().falseMatch(), searched)) +
        " of its runs: 1-(1-FMR)^N."};
    return section;
}

// The rule of identification, had both thresholds been others.
Section otherThresholds(const Evaluation& evaluation) {
    constexpr std::array kThresholds{0.4, 0.5, 0.6, 0.65, 0.7, 0.75, 0.8};
    const ErrorCurve curve(evaluation.sheet().scores(Way::allThree));
    Section section{"Identification at other thresholds", {}, {}, {}};
    section.before = {"All three blocks above one threshold."};
    section.table.head = {"threshold", "FMR", "accepted", "95 % sure: at most", "FNMR"};
    for (const double limit : kThresholds) {
        const OperatingPoint point = curve.atThreshold(limit);
        section.table.rows.push_back({rounded(limit, 2), percent(point.falseMatch),
                                      outOf(point.falseMatches, curve.impostors()),
                                      percent(upperBound(point.falseMatches, curve.impostors())),
                                      percent(point.falseNonMatch)});
    }
    return section;
}

// What is left of strangers, and lost of own palms, as block after block has its say.
Section blocks(const Evaluation& evaluation) {
    const ScoreSheet& sheet = evaluation.sheet();
    const auto auth = static_cast<double>(sheet.thresholds().auth);
    Section section{"What each block adds", {}, {}, {}};
    section.before = {"Each must exceed auth_threshold, " + plain(auth) + "."};
    section.table.head = {"blocks asked", "FMR", "FNMR"};
    for (const auto& [name, way] :
         {std::pair("0", Way::block0), std::pair("0 and 1", Way::firstTwo),
          std::pair("0, 1 and 2", Way::allThree)}) {
        const OperatingPoint point = ErrorCurve(sheet.scores(way)).atThreshold(auth);
        section.table.rows.push_back(
            {name, percent(point.falseMatch), percent(point.falseNonMatch)});
    }
    return section;
}

Section twoThresholds(const Evaluation& evaluation) {
    const ScoreSheet& sheet = evaluation.sheet();
    const std::uint64_t impostors = sheet.scores(Way::mean).impostor.count();
    const double rate = std::max(1e-4, lowestTold(impostors));
    Section section{"The two thresholds", {}, {}, {}};
    section.before = {
        "filter_threshold, for block 2, may lie apart from auth_threshold. Each row has "
        "the lowest pair of that distance with FMR " +
        percent(rate) + "."};
    section.table.head = {"filter - auth", "auth_threshold", "filter_threshold", "FNMR"};
    for (std::size_t i = 0; i < kFilterOffsets.size(); ++i) {
        const OperatingPoint point = ErrorCurve(sheet.withFilterOffset(i)).forFalseMatch(rate);
        const auto offset = static_cast<double>(kFilterOffsets[i]);
        section.table.rows.push_back({rounded(offset, 1), threshold(point.threshold),
                                      threshold(point.threshold + offset),
                                      percent(point.falseNonMatch)});
    }
    return section;
}

Section searches(const Evaluation& evaluation) {
    constexpr std::array kFalsePositives{1e-2, 1e-3};
    const IdentificationTrials& trials = evaluation.trials();
    Section section{"Searches", {}, {}, {}};
    section.before = {
        counted(static_cast<long long>(trials.searches()), "probe") + " searched a gallery of " +
        counted(static_cast<long long>(evaluation.enrolment()->palms.size()), "palm") +
        ", with its own palm (FNIR) and without it (FPIR); all three blocks above one threshold."};
    section.table.head = {"FPIR", "threshold", "FNIR"};
    for (const double rate : kFalsePositives) {
        if (lowestTold(trials.searches()) <= rate) {
            const IdentificationPoint point = trials.forFalsePositive(rate);
            section.table.rows.push_back(
                {percent(rate), threshold(point.threshold), percent(point.falseNegative)});
        }
    }
    if (section.table.rows.empty()) {
        section.table.head.clear();
        section.after = {"Too few probes to tell an FPIR of " + percent(kFalsePositives.front()) +
                         ": it takes " + grouped(trialsToTell(kFalsePositives.front())) + "."};
    }
    return section;
}

std::string shareText(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? kNotTold : percent(static_cast<double>(part) / static_cast<double>(whole));
}

// What an enrolment would refuse since the hand has not moved.
Section enrolments(const Evaluation& evaluation) {
    const EnrolmentCaptures& captures = evaluation.enrolmentCaptures();
    const EvaluationPlan& plan = evaluation.plan();
    const auto below = [&](double share) {
        return similarity(captures.similarity.quantile(share));
    };
    const std::string half = std::to_string(plan.maxCount / 2);
    Section section{"Captures of an enrolment", {}, {}, {}};
    section.before = {"Block 0 of two captures of one palm: 1 % of the pairs are less alike than " +
                          below(0.01) + ", half than " + below(0.5) + ", 99 % than " + below(0.99) +
                          ".",
                      "Of " + std::to_string(plan.maxCount) + " captures the first " + half +
                          " are taken as they come; the next is refused while it is more alike to "
                          "one of them than the cap. The level is " +
                          std::to_string(plan.detectionLevel) + "."};
    section.table.head = {"dynamic_detection_level", "cap", "refused"};
    for (const RepeatRow& row : captures.repeats) {
        section.table.rows.push_back({std::to_string(row.level),
                                      rounded(static_cast<double>(row.cap), 2),
                                      shareText(row.refused, captures.later)});
    }
    return section;
}

std::string rangeText(const TraitRange& range) {
    return inBrief(range.from) + " to " + inBrief(range.to);
}

Section traits(const Evaluation& evaluation) {
    Section section{"Errors by condition", {}, {}, {}};
    section.before = {
        "Five ranges with as many frames in each; FNMR of identification at the " +
        std::string(evaluation.identification().chosen ? "recommended" : "configured") +
        " threshold, " + threshold(evaluation.threshold()) + "."};
    section.table.head = {"condition", "range", "frames", "refused", "comparisons", "FNMR"};
    for (const TraitRow& row : evaluation.traits()) {
        const std::string unit = row.trait.unit.empty() ? "" : ", " + row.trait.unit;
        for (const TraitRange& range : row.ranges) {
            section.table.rows.push_back(
                {row.trait.name + unit, rangeText(range), grouped(range.captures),
                 shareText(range.refused, range.captures), grouped(range.comparisons),
                 shareText(range.missed, range.comparisons)});
        }
    }
    return section;
}

std::string referenceName(const Evaluation& evaluation, const Comparison& comparison) {
    return evaluation.enrolment() ? "palm " + evaluation.set().palms[comparison.referencePalm]
                                  : evaluation.set().captures[comparison.reference].name;
}

std::string probeName(const Evaluation& evaluation, const Comparison& comparison) {
    return evaluation.set().captures[comparison.probe].name;
}

void addNearMisses(Table& table, const Evaluation& evaluation,
                   const std::vector<ScoredComparison>& list, const char* kind) {
    for (const ScoredComparison& each : list) {
        const BlockSimilarities& scores = each.comparison.scores;
        table.rows.push_back({kind, probeName(evaluation, each.comparison),
                              referenceName(evaluation, each.comparison),
                              similarity(static_cast<double>(scores[0])),
                              similarity(static_cast<double>(scores[1])),
                              similarity(static_cast<double>(scores[2]))});
    }
}

Section nearMisses(const Evaluation& evaluation) {
    Section section{"Comparisons to look at", {}, {}, {}};
    section.before = {"A picture under a wrong name shows here first."};
    section.table.head = {"", "probe", "with", "block 0", "block 1", "block 2"};
    addNearMisses(section.table, evaluation, evaluation.nearMisses().genuine(), "own, least alike");
    addNearMisses(section.table, evaluation, evaluation.nearMisses().impostors(),
                  "other, most alike");
    return section;
}

}  // namespace

std::vector<Section> sectionsOf(const Evaluation& evaluation) {
    std::vector<Section> sections{captures(evaluation),
                                  errorRates(evaluation),
                                  configuredRule(evaluation),
                                  otherThresholds(evaluation),
                                  blocks(evaluation),
                                  twoThresholds(evaluation),
                                  recommendedThresholds(evaluation)};
    if (evaluation.enrolment()) {
        sections.push_back(searches(evaluation));
    }
    if (evaluation.enrolmentCaptures().later > 0) {
        sections.push_back(enrolments(evaluation));
    }
    if (!evaluation.traits().empty()) {
        sections.push_back(traits(evaluation));
    }
    sections.push_back(nearMisses(evaluation));
    return sections;
}

}  // namespace brairu::tool
