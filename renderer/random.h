#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace brairu {

// Small seeded generator whose numbers are the same on every machine, which the standard
// library's distributions do not promise. Streams with different keys are independent.
class Random {
public:
    explicit Random(std::initializer_list<std::uint64_t> keys) {
        for (const std::uint64_t key : keys) {
            state_ ^= key + 0x9E3779B97F4A7C15U;
            state_ = next();
        }
    }

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31U);
    }

    // Evenly distributed in [0, 1).
    float unit() { return static_cast<float>(next() >> 40U) * (1.0f / 16777216.0f); }

    float uniform(float low, float high) { return low + (high - low) * unit(); }

    // Bell-shaped with the given deviation; never beyond four deviations.
    float normal(float deviation) {
        float sum = 0.0f;
        for (int i = 0; i < 8; ++i) {
            sum += unit() - 0.5f;
        }
        return sum * 1.2247449f * deviation;
    }

    bool chance(float probability) { return unit() < probability; }

    // Evenly distributed in 0 .. count-1.
    int below(int count) { return static_cast<int>(next() % static_cast<std::uint64_t>(count)); }

private:
    std::uint64_t state_ = 0x853C49E6748FEA9BU;
};

}  // namespace brairu
