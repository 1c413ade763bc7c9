// What an enrolment asks of a palm's captures: to be alike, and yet not to repeat each other.
#pragma once

#include <array>
#include <cstdint>

#include "evaluation/captureSet.h"
#include "evaluation/scoreDistribution.h"

namespace brairu::tool {

// Captures that a level of dynamic detection refuses.
struct RepeatRow {
    int level;
    float cap;
    std::uint64_t refused = 0;
};

struct EnrolmentCaptures {
    // Of block 0, between every two captures of one palm.
    ScoreDistribution similarity;
    // Captures that come after the first half of an enrolment.
    std::uint64_t later = 0;
    std::array<RepeatRow, 4> repeats{};
};

// As an enrolment of so many captures takes them: its first half from each palm's first ones that
// gave features, and then every later one as the next. Bystanders are left out.
EnrolmentCaptures examineEnrolment(const CaptureSet& set, int maxCount);

}  // namespace brairu::tool
