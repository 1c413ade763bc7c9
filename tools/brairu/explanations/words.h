// The library's codes in words, with what to do about them.
#pragma once

#include <cstdint>

#include "measures/captureMeasures.h"

namespace brairu::tool {

struct Words {
    const char* id;        // for programs
    const char* what;      // "refused, ..."
    const char* advice;    // to the person whose hand it is
    const char* measured;  // what the names of the measures begin with that decide it; may be empty
};

// Codes 14 and 15 mean one thing from the placement check and another from the quality gate.
enum class Stage { placement, quality };

const Words& wordsFor(std::uint32_t code, Stage stage);
const Words& wordsForFault(HandFault fault);
const Words& wordsForNobody();

}  // namespace brairu::tool
