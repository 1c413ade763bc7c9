// Which captures are compared, and what their blocks give.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "evaluation/captureSet.h"
#include "match/authentication.h"

namespace brairu::tool {

// An enrolled palm: as many templates as the configured number of centres.
struct EnrolledPalm {
    std::size_t palm = 0;
    std::vector<CaptureBlocks> templates;
};

struct Enrolment {
    std::vector<EnrolledPalm> palms;
    std::vector<std::size_t> failed;  // palms with too few captures
    std::vector<std::size_t> probes;  // captures that are left to compare, palm by palm
};

// Makes templates as an enrolment does, of the first captures of each palm that gave features.
Enrolment enrol(const CaptureSet& set, std::size_t captures, int centres);

struct Comparison {
    std::size_t probe = 0;          // in CaptureSet::captures
    std::size_t probePalm = 0;      // in CaptureSet::palms
    std::size_t referencePalm = 0;  // likewise
    std::size_t reference = 0;      // a capture; meaningless for a template
    BlockSimilarities scores{};

    bool isGenuine() const { return probePalm == referencePalm; }
};

// Takes comparisons of one pair of palms one after the other; those of a palm with itself come
// before those with any other.
using ComparisonVisitor = std::function<void(const Comparison&)>;

// Told how many of all palms are done.
using Progress = std::function<void(std::size_t done, std::size_t all)>;

// Every two captures that gave features, once.
void visitCapturePairs(const CaptureSet& set, const ComparisonVisitor& visit,
                       const Progress& progress);

// Every probe with every enrolled palm: with that template that is the nearest in block 0.
void visitSearches(const CaptureSet& set, const Enrolment& enrolment,
                   const ComparisonVisitor& visit, const Progress& progress);

}  // namespace brairu::tool
