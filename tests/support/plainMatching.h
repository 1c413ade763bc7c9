// What a match must find and what a stored template learns from it, worked out from the plain
// description and not by the library's code.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "brairu.h"

namespace brairu::test {

using TemplateBytes = std::array<std::uint8_t, PVA_TEMPLATE_BYTES>;

// The cosine of the first blocks of two captures or templates.
double cosine(const std::uint8_t* a, const std::uint8_t* b);

// What a stored template becomes when it learns from a capture.
TemplateBytes learned(std::span<const std::uint8_t> stored, std::span<const std::uint8_t> capture);

}  // namespace brairu::test
