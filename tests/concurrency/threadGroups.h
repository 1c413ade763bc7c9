// The calls by the threads that they may come from, as the public header groups them.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "support/seededRandom.h"

namespace brairu::test {

// A call as a host makes it, on an engine with the settings of StartedEngine. What a call that runs
// beside others must return all the same is expected by the call.
struct GroupedCall {
    std::string name;
    std::function<void(SeededRandom&)> make;
};

struct ThreadGroup {
    std::string name;
    bool many;  // from any number of threads at once
    std::vector<GroupedCall> calls;
};

// Calls that may run beside those of the other groups of this list.
const std::vector<ThreadGroup>& groupsSideBySide();

// Calls beside which no other may run; the engine is started before and after them.
const ThreadGroup& groupAlone();

}  // namespace brairu::test
