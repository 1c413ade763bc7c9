#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace brairu::bench {

// Eight loads side by side, so that only memory makes them wait. The bytes that do not fill a last
// group of eight are left out.
template <typename Lanes>
static std::uint64_t streamLoop(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kLoads = 8;
    constexpr std::size_t kStep = kLoads * sizeof(Lanes);
    Lanes sums[kLoads] = {};
    for (std::size_t offset = 0; offset + kStep <= size; offset += kStep) {
        for (std::size_t i = 0; i < kLoads; ++i) {
            Lanes loaded;
            std::memcpy(&loaded, data + offset + i * sizeof(Lanes), sizeof loaded);
            sums[i] ^= loaded;
        }
    }
    std::uint64_t words[kStep / sizeof(std::uint64_t)];
    std::memcpy(words, sums, sizeof sums);
    std::uint64_t result = 0;
    for (const std::uint64_t word : words) {
        result ^= word;
    }
    return result;
}

}  // namespace brairu::bench
