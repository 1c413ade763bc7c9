// Errors by what is known of a capture: how dark, how blurred, how far.
#pragma once

#include <cstdint>
#include <vector>

#include "evaluation/captureSet.h"

namespace brairu::tool {

// A comparison of captures of one palm, by its probe.
struct GenuineScore {
    std::size_t capture = 0;
    float score = 0.0f;
};

// Captures between two values of a trait.
struct TraitRange {
    double from = 0.0;
    double to = 0.0;
    std::uint64_t captures = 0;
    std::uint64_t refused = 0;
    std::uint64_t comparisons = 0;
    std::uint64_t missed = 0;  // comparisons below the threshold
};

struct TraitRow {
    Trait trait;
    std::vector<TraitRange> ranges;  // as many captures in each, as far as that goes
};

// Of the captures with a known value; nothing for traits that fewer than ranges captures have.
std::vector<TraitRow> tabulateTraits(const CaptureSet& set, const std::vector<GenuineScore>& scores,
                                     double threshold, std::size_t ranges);

}  // namespace brairu::tool
