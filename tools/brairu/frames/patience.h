// How long a command waits before a camera that brings it nothing.
#pragma once

#include <chrono>
#include <cstddef>

namespace brairu::tool {

// Runs out when there was no further capture for so long.
class Patience {
public:
    explicit Patience(double seconds);

    void renew();
    // captures: how many there are by now.
    void look(std::size_t captures);
    bool isOver() const;

private:
    using Clock = std::chrono::steady_clock;

    Clock::duration length_;
    Clock::time_point end_;
    std::size_t captures_ = 0;
};

}  // namespace brairu::tool
