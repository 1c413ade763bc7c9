#include "evaluation/evaluation.h"

#include "fault.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

constexpr std::size_t kNearMisses = 5;
constexpr std::size_t kMostListed = 1'000'000;
constexpr std::size_t kTraitRanges = 5;

}  // namespace

Evaluation::Evaluation(const CaptureSet& set, const EvaluationPlan& plan, const Progress& progress)
    : set_(set),
      plan_(plan),
      sheet_(plan.thresholds),
      nearMisses_(kNearMisses),
      enrolmentCaptures_(examineEnrolment(set, plan.maxCount)) {
    const auto visit = [this](const Comparison& comparison) { add(comparison); };
    if (plan.enrolment > 0) {
        enrolment_ = enrol(set, plan.enrolment, plan.centres);
        visitSearches(set, *enrolment_, visit, progress);
    } else {
        visitCapturePairs(set, visit, progress);
    }
    pairs_.finish();
    requireComparisons();
    identification_ =
        recommend(ErrorCurve(sheet_.scores(Way::allThree)), {plan.falseAccept, plan.searched()});
    verification_ =
        recommend(ErrorCurve(sheet_.scores(Way::verification)), {plan.falseAccept, 1.0});
    traits_ = tabulateTraits(set, genuine_, threshold(), kTraitRanges);
}

void Evaluation::add(const Comparison& comparison) {
    const bool isGenuine = comparison.isGenuine();
    const float score = sheet_.scoreOf(Way::allThree, comparison.scores);
    sheet_.add(comparison.scores, isGenuine);
    nearMisses_.add(comparison, score);
    keep(comparison);
    if (isGenuine) {
        genuine_.push_back({comparison.probe, score});
    } else {
        pairs_.add(comparison, score);
    }
    if (enrolment_) {
        trials_.add(comparison, score);
    } else if (isGenuine) {
        genuine_.push_back({comparison.reference, score});
    }
}

void Evaluation::keep(const Comparison& comparison) {
    if (isListed_ && list_.size() == kMostListed) {
        isListed_ = false;
        list_ = {};
    }
    if (isListed_) {
        list_.push_back(
            {comparison.probe, comparison.referencePalm, comparison.reference, comparison.scores});
    }
}

double Evaluation::threshold() const {
    return identification_.chosen ? identification_.chosen->point.threshold
                                  : static_cast<double>(plan_.thresholds.auth);
}

void Evaluation::requireComparisons() const {
    if (set_.captures.empty() && !set_.unreadable.empty()) {
        throw Fault(Ending::no, "no picture could be read",
                    "Give pictures (png, jpeg, pgm, ...), or raw planes of grey with --size.");
    }
    requireGenuine();
    requireImpostors();
}

void Evaluation::requireGenuine() const {
    if (sheet_.scores(Way::allThree).genuine.count() > 0) {
        return;
    }
    if (enrolment_) {
        throw Fault(Ending::no,
                    "no palm has a good capture left beyond the " +
                        std::to_string(plan_.enrolment) + " of its enrolment",
                    "Take more pictures of each palm, or give a smaller --enrol; "
                    "--ignore-guidance takes pictures that the limits of the configuration "
                    "refuse.");
    }
    throw Fault(Ending::no, "no palm has two captures to compare",
                "Take more pictures of each palm; --ignore-guidance takes pictures that the "
                "limits of the configuration refuse.");
}

void Evaluation::requireImpostors() const {
    if (sheet_.scores(Way::allThree).impostor.count() > 0) {
        return;
    }
    if (enrolment_ && set_.palms.size() > 1) {
        throw Fault(Ending::no,
                    "only one palm has the " +
                        counted(static_cast<long long>(plan_.enrolment), "good capture") +
                        " of an enrolment",
                    "Take more pictures of the other palms, or give a smaller --enrol: without "
                    "strangers nothing can be said about them.");
    }
    throw Fault(Ending::no, "all captures are of one palm",
                "Take pictures of more palms: without strangers nothing can be said about "
                "them.");
}

}  // namespace brairu::tool
