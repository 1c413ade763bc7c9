#pragma once

#include <cstdint>
#include <random>

namespace brairu::test {

// Random numbers that can be had again: the seed is printed, and BRAIRU_TEST_SEED sets another.
class SeededRandom {
public:
    SeededRandom();

    int between(int first, int last);  // both included
    float fraction(float first, float last);
    std::uint8_t byte() { return static_cast<std::uint8_t>(between(0, 255)); }
    bool coin() { return between(0, 1) == 1; }

private:
    std::mt19937 generator_;
};

}  // namespace brairu::test
