// Palms, their captures and the templates that the store must hold of them, worked out without the
// library's code.
#pragma once

#include <cstdint>
#include <vector>

#include "brairu.h"
#include "support/plainMatching.h"
#include "support/scriptedCapture.h"
#include "support/seededRandom.h"

namespace brairu::test {

// One enrolled palm.
struct Palm {
    PvaUserKey key{};
    std::int32_t row = 0;
    TemplateBytes stored{};
};

// Features unlike all others, and a capture of the same palm: near as it is, or so far that the
// store learns from it.
Features newFeatures(SeededRandom& random);
enum class Likeness { near, far };
Features recapture(const TemplateBytes& stored, Likeness likeness, SeededRandom& random);

// The element-wise mean of captures, cut towards zero.
Features meanOf(const std::vector<Features>& captures);

// A template without a trailer.
TemplateBytes templateOf(const Features& features);

}  // namespace brairu::test
