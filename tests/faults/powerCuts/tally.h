// What a run of cuts has tried, and what came of it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/childProcess.h"

namespace brairu::test {

struct Tally {
    int cuts = 0;
    int restarts = 0;               // inspected
    std::map<std::string, int> at;  // cuts by what was going on
    int undone = 0;                 // the step under way was not there afterwards
    int done = 0;                   // it was
    std::vector<std::string> faults;
};

inline std::string complaintOf(const ChildResult& child) {
    const std::string end = child.signal != 0 ? "signal " + std::to_string(child.signal)
                                              : "status " + std::to_string(child.exitStatus);
    return end + ": " + child.err;
}

}  // namespace brairu::test
