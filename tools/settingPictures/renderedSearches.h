// Rendered people who are enrolled and searched for: what the pictures of recognition count.
#pragma once

#include "evaluation/renderedCaptures.h"
#include "evaluation/scoreSheet.h"

namespace brairu::tool {

// Careless captures of both palms of people whom no training saw. The engine must be started.
CaptureSet picturedCaptures(const ConfigDocument& config);

// As many as an enrolment may take of each palm; the captures after these are the probes, whatever
// an enrolment takes.
inline constexpr std::size_t kMostEnrolled = 10;

// Every probe against every palm, each enrolled with so many captures and templates.
std::vector<Comparison> searchesOf(const CaptureSet& set, std::size_t captures, int centres);

// How many of the comparisons of either kind a rule accepts.
template <typename Accepts>
ScoreSheet::Decisions countAccepted(const std::vector<Comparison>& comparisons, Accepts accepts) {
    ScoreSheet::Decisions decisions;
    for (const Comparison& comparison : comparisons) {
        decisions.add(comparison.isGenuine(), accepts(comparison.scores));
    }
    return decisions;
}

Thresholds thresholdsOf(ConfigDocument& config);

}  // namespace brairu::tool
