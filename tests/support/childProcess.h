#pragma once

#include <functional>
#include <string>

namespace brairu::test {

struct ChildResult {
    int exitStatus = -1;  // -1: ended by a signal
    int signal = 0;       // which one
    std::string out;
    std::string err;
};

// Runs an action in a forked copy of this process and lets it leave through exit(0), destructors of
// statics included: what is built once per process is built anew there. An exception that leaves
// the action gives status 98 and its text in err; a failed expectation inside gives status 97 and
// its text in out.
ChildResult inChild(const std::function<void()>& action);

}  // namespace brairu::test
