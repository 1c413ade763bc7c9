#include "evaluation/traitTable.h"

#include <algorithm>
#include <cmath>

namespace brairu::tool {
namespace {

// Captures with a known value of a trait, by that value.
std::vector<std::size_t> sortedBy(const CaptureSet& set, std::size_t trait) {
    std::vector<std::size_t> known;
    for (std::size_t index = 0; index < set.captures.size(); ++index) {
        const EvaluatedCapture& capture = set.captures[index];
        if (capture.palm < set.firstBystander && !std::isnan(capture.traits[trait])) {
            known.push_back(index);
        }
    }
    std::ranges::sort(known, {},
                      [&](std::size_t index) { return set.captures[index].traits[trait]; });
    return known;
}

struct Misses {
    std::uint64_t comparisons = 0;
    std::uint64_t missed = 0;
};

// By capture.
std::vector<Misses> countMisses(const CaptureSet& set, const std::vector<GenuineScore>& scores,
                                double threshold) {
    std::vector<Misses> misses(set.captures.size());
    for (const GenuineScore& score : scores) {
        ++misses[score.capture].comparisons;
        misses[score.capture].missed += static_cast<double>(score.score) < threshold ? 1 : 0;
    }
    return misses;
}

void add(TraitRange& range, const EvaluatedCapture& capture, const Misses& misses) {
    ++range.captures;
    range.refused += capture.isAcquired() ? 0 : 1;
    range.comparisons += misses.comparisons;
    range.missed += misses.missed;
}

}  // namespace

std::vector<TraitRow> tabulateTraits(const CaptureSet& set, const std::vector<GenuineScore>& scores,
                                     double threshold, std::size_t ranges) {
    const std::vector<Misses> misses = countMisses(set, scores, threshold);
    std::vector<TraitRow> rows;
    for (std::size_t trait = 0; trait < set.traits.size(); ++trait) {
        const std::vector<std::size_t> sorted = sortedBy(set, trait);
        if (sorted.size() < ranges) {
            continue;
        }
        TraitRow row{set.traits[trait], std::vector<TraitRange>(ranges)};
        for (std::size_t i = 0; i < sorted.size(); ++i) {
            const EvaluatedCapture& capture = set.captures[sorted[i]];
            TraitRange& range = row.ranges[i * ranges / sorted.size()];
            range.from =
                range.captures == 0 ? static_cast<double>(capture.traits[trait]) : range.from;
            range.to = static_cast<double>(capture.traits[trait]);
            add(range, capture, misses[sorted[i]]);
        }
        rows.push_back(row);
    }
    return rows;
}

}  // namespace brairu::tool
