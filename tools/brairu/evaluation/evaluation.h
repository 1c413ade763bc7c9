// An evaluation as a whole: captures, comparisons, and what follows from them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "evaluation/captureSet.h"
#include "evaluation/comparisons.h"
#include "evaluation/enrolmentCaptures.h"
#include "evaluation/identificationTrials.h"
#include "evaluation/nearMisses.h"
#include "evaluation/palmPairs.h"
#include "evaluation/recommendation.h"
#include "evaluation/renderedCaptures.h"
#include "evaluation/scoreSheet.h"
#include "evaluation/traitTable.h"

namespace brairu::tool {

struct EvaluationPlan {
    std::size_t enrolment = 0;  // captures that make a template; 0 compares capture with capture
    int centres = 1;            // templates of a palm
    int maxCount = 6;           // captures of an enrolment where it is used
    int detectionLevel = 3;     // and how much they have to differ
    Thresholds thresholds;
    double falseAccept = 0.001;  // what to recommend thresholds for
    double gallery = 100;        // palms

    // Comparisons of a search: with every template, or, where palms are enrolled here, with every
    // palm, since a comparison is with all templates of one.
    double searched() const { return enrolment > 0 ? gallery : gallery * centres; }
};

// A comparison as scores.csv has it.
struct ListedScore {
    std::size_t probe;
    std::size_t referencePalm;
    std::size_t reference;
    BlockSimilarities scores;
};

class Evaluation {
public:
    // Compares. Throws Fault, whose ending is "no", when there is nothing to compare.
    Evaluation(const CaptureSet& set, const EvaluationPlan& plan, const Progress& progress);

    const CaptureSet& set() const { return set_; }
    const EvaluationPlan& plan() const { return plan_; }
    const ScoreSheet& sheet() const { return sheet_; }
    // Of a comparison of captures; nothing otherwise.
    const std::optional<Enrolment>& enrolment() const { return enrolment_; }
    // Of the rule with both thresholds alike.
    const PalmPairs& palmPairs() const { return pairs_; }
    const IdentificationTrials& trials() const { return trials_; }
    const NearMisses& nearMisses() const { return nearMisses_; }
    const EnrolmentCaptures& enrolmentCaptures() const { return enrolmentCaptures_; }
    // Empty when there are too many to list.
    const std::vector<ListedScore>& list() const { return list_; }

    const Recommendation& identification() const { return identification_; }
    const Recommendation& verification() const { return verification_; }
    // What the report speaks of: the recommended threshold of identification, or the configured one
    // when none is recommended.
    double threshold() const;
    // By the rule of identification, with all thresholds at that.
    const std::vector<TraitRow>& traits() const { return traits_; }

private:
    void add(const Comparison& comparison);
    void keep(const Comparison& comparison);
    void requireComparisons() const;
    void requireGenuine() const;
    void requireImpostors() const;

    const CaptureSet& set_;
    EvaluationPlan plan_;
    ScoreSheet sheet_;
    std::optional<Enrolment> enrolment_;
    PalmPairs pairs_;
    IdentificationTrials trials_;
    NearMisses nearMisses_;
    EnrolmentCaptures enrolmentCaptures_;
    std::vector<GenuineScore> genuine_;
    std::vector<ListedScore> list_;
    bool isListed_ = true;
    Recommendation identification_;
    Recommendation verification_;
    std::vector<TraitRow> traits_;
};

}  // namespace brairu::tool
