#pragma once

#include <functional>
#include <vector>

namespace brairu::test {

// Runs each action on a thread of its own, all set off at the same moment, and waits for them. An
// exception that leaves an action is thrown again, when all have ended.
void runTogether(const std::vector<std::function<void()>>& actions);

}  // namespace brairu::test
