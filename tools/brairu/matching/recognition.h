// One attempt to identify a capture, through the exported call.
#pragma once

#include <string>

#include "engine/capture.h"
#include "report/report.h"

namespace brairu::tool {

struct Recognition {
    enum class Kind { recognised, unconfirmed, unknown };

    Kind kind = Kind::unknown;
    PvaAuthResult match{};
};

// A match below the configured number of agreeing ones is unconfirmed.
Recognition recognise(const Features& features);

// "user 7, palm 1, similarity 0.834"; or why not, and what to do.
std::string textOf(const Recognition& recognition);

// {"result": ..., "user": ..., "palm": ..., "similarity": ...}
Json jsonOf(const Recognition& recognition);

}  // namespace brairu::tool
