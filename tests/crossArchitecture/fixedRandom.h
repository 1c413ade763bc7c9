#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace brairu::test {

// Numbers that are the same in every run and on every machine: those of a generator whose output is
// fixed by the C++ standard, reduced without its distributions, whose output is not.
class FixedRandom {
public:
    explicit FixedRandom(std::uint32_t seed) : generator_(seed) {}

    // Both included.
    int between(int first, int last) {
        const auto count = static_cast<std::uint32_t>(last - first) + 1;
        return first + static_cast<int>(generator_() % count);
    }
    // A multiple of 2^-16.
    float fraction(float first, float last) {
        return first + (last - first) * static_cast<float>(generator_() % 65536) / 65536.0f;
    }
    std::uint8_t byte() { return static_cast<std::uint8_t>(between(0, 255)); }
    std::vector<std::uint8_t> bytes(std::size_t count) {
        std::vector<std::uint8_t> bytes(count);
        std::ranges::generate(bytes, [this] { return byte(); });
        return bytes;
    }

private:
    std::mt19937 generator_;
};

}  // namespace brairu::test
