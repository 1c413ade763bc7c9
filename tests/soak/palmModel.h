// What the store must hold and the matching must find, worked out here from the plain description
// and not by the library's code.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "brairu.h"
#include "support/scriptedCapture.h"
#include "support/seededRandom.h"

namespace brairu::test {

using TemplateBytes = std::array<std::uint8_t, PVA_TEMPLATE_BYTES>;

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

// What a stored template becomes when it learns from a capture.
TemplateBytes learned(const TemplateBytes& stored, const Features& capture);

// A template without a trailer.
TemplateBytes templateOf(const Features& features);

// The cosine of one block of two captures.
double cosine(const std::uint8_t* a, const std::uint8_t* b);

}  // namespace brairu::test
