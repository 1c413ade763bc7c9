#include "timing/callTimes.h"

#include <algorithm>
#include <chrono>

namespace brairu::tool {

double CallTimes::median() const {
    const std::size_t middle = milliseconds.size() / 2;
    return milliseconds.size() % 2 == 1 ? milliseconds[middle]
                                        : (milliseconds[middle - 1] + milliseconds[middle]) / 2.0;
}

double CallTimes::slowest() const {
    return milliseconds.back();
}

CallTimes timed(const std::string& call, int runs, const std::function<void()>& run) {
    CallTimes times{call, {}};
    for (int number = 0; number < std::max(runs, 1); ++number) {
        const auto start = std::chrono::steady_clock::now();
        run();
        times.milliseconds.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count());
    }
    std::ranges::sort(times.milliseconds);
    return times;
}

}  // namespace brairu::tool
