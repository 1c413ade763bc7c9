// What an examination finds: in order or not, and what to do about it.
#pragma once

#include <string>
#include <vector>

namespace brairu::tool {

enum class Level {
    fine,
    note,     // worth knowing
    warning,  // works, and not as it should
    fault,    // the engine does not work like this
};

struct Finding {
    Level level = Level::fine;
    std::string area;  // configuration, models, ...
    std::string what;
    std::string advice;  // empty when there is nothing to do
};

using Findings = std::vector<Finding>;

inline void append(Findings& all, const Findings& more) {
    all.insert(all.end(), more.begin(), more.end());
}

}  // namespace brairu::tool
