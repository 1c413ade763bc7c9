#pragma once

#include <cstdint>

namespace brairu::tool {

// 0 of nothing.
inline double share(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace brairu::tool
