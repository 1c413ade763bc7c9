// How long a call of the library takes.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace brairu::tool {

struct CallTimes {
    std::string call;
    std::vector<double> milliseconds;  // of each run, in rising order

    double median() const;
    double slowest() const;
};

// Runs it runs times, at least once, by the clock on the wall.
CallTimes timed(const std::string& call, int runs, const std::function<void()>& run);

}  // namespace brairu::tool
