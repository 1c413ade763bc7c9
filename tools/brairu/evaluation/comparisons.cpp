#include "evaluation/comparisons.h"

#include <algorithm>

#include "matching/blockScores.h"

namespace brairu::tool {
namespace {

using Indexes = std::vector<std::size_t>;

std::vector<CaptureBlocks> templatesOf(const CaptureSet& set, const Indexes& captures,
                                       std::size_t count, int centres) {
    RegisterBuffer buffer;
    for (std::size_t i = 0; i < count; ++i) {
        buffer.add(set.captures[captures[i]].blocks);
    }
    computeCentres(buffer, centres);
    std::vector<CaptureBlocks> templates(static_cast<std::size_t>(buffer.count()));
    for (std::size_t block = 0; block < kBlocks; ++block) {
        for (std::size_t i = 0; i < templates.size(); ++i) {
            templates[i][block] = buffer.lists()[block][i];
        }
    }
    return templates;
}

class PairVisit {
public:
    PairVisit(const CaptureSet& set, const ComparisonVisitor& visit)
        : set_(set), byPalm_(set.acquiredByPalm()), visit_(visit) {}

    void withItself(std::size_t palm) const {
        const Indexes& captures = byPalm_[palm];
        for (std::size_t i = 0; i < captures.size(); ++i) {
            for (std::size_t j = i + 1; j < captures.size(); ++j) {
                compare(captures[i], captures[j]);
            }
        }
    }

    void withOther(std::size_t palm, std::size_t other) const {
        for (const std::size_t probe : byPalm_[palm]) {
            for (const std::size_t reference : byPalm_[other]) {
                compare(probe, reference);
            }
        }
    }

private:
    void compare(std::size_t probe, std::size_t reference) const {
        const EvaluatedCapture& one = set_.captures[probe];
        const EvaluatedCapture& other = set_.captures[reference];
        visit_(
            {probe, one.palm, other.palm, reference, searchSimilarities(one.blocks, other.blocks)});
    }

    const CaptureSet& set_;
    std::vector<Indexes> byPalm_;
    const ComparisonVisitor& visit_;
};

class SearchVisit {
public:
    SearchVisit(const CaptureSet& set, const ComparisonVisitor& visit) : set_(set), visit_(visit) {}

    void compare(const Indexes& probes, const EnrolledPalm& enrolled) const {
        for (const std::size_t probe : probes) {
            const EvaluatedCapture& capture = set_.captures[probe];
            visit_({probe, capture.palm, enrolled.palm, 0, nearest(capture.blocks, enrolled)});
        }
    }

private:
    static BlockSimilarities nearest(const CaptureBlocks& probe, const EnrolledPalm& enrolled) {
        const auto firstScore = [&](const CaptureBlocks& stored) {
            return firstBlockScore(probe, stored);
        };
        return searchSimilarities(probe,
                                  *std::ranges::max_element(enrolled.templates, {}, firstScore));
    }

    const CaptureSet& set_;
    const ComparisonVisitor& visit_;
};

std::vector<Indexes> byPalm(const CaptureSet& set, const Indexes& captures) {
    std::vector<Indexes> sorted(set.palms.size());
    for (const std::size_t capture : captures) {
        sorted[set.captures[capture].palm].push_back(capture);
    }
    return sorted;
}

}  // namespace

Enrolment enrol(const CaptureSet& set, std::size_t captures, int centres) {
    Enrolment enrolment;
    const std::vector<Indexes> acquired = set.acquiredByPalm();
    for (std::size_t palm = 0; palm < acquired.size(); ++palm) {
        const Indexes& own = acquired[palm];
        if (own.size() < captures) {
            enrolment.failed.push_back(palm);
            continue;
        }
        enrolment.palms.push_back({palm, templatesOf(set, own, captures, centres)});
        if (palm < set.firstBystander) {
            const auto first = own.begin() + static_cast<std::ptrdiff_t>(captures);
            enrolment.probes.insert(enrolment.probes.end(), first, own.end());
        }
    }
    return enrolment;
}

void visitCapturePairs(const CaptureSet& set, const ComparisonVisitor& visit,
                       const Progress& progress) {
    const PairVisit pairs(set, visit);
    for (std::size_t palm = 0; palm < set.palms.size(); ++palm) {
        progress(palm, set.palms.size());
        pairs.withItself(palm);
        for (std::size_t other = palm + 1; other < set.palms.size(); ++other) {
            pairs.withOther(palm, other);
        }
    }
}

void visitSearches(const CaptureSet& set, const Enrolment& enrolment,
                   const ComparisonVisitor& visit, const Progress& progress) {
    const SearchVisit searches(set, visit);
    const std::vector<Indexes> probes = byPalm(set, enrolment.probes);
    for (std::size_t own = 0; own < enrolment.palms.size(); ++own) {
        const Indexes& mine = probes[enrolment.palms[own].palm];
        progress(own, enrolment.palms.size());
        searches.compare(mine, enrolment.palms[own]);
        for (std::size_t other = 0; other < enrolment.palms.size(); ++other) {
            if (other != own) {
                searches.compare(mine, enrolment.palms[other]);
            }
        }
    }
}

}  // namespace brairu::tool
