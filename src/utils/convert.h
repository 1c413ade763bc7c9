// Conversions of fractions to integers that are defined for every value: beyond the range of the
// target they saturate, and NaN becomes 0.
#pragma once

#include <cstdint>
#include <limits>

namespace brairu {

// Cut towards zero.
constexpr int truncatedInt(double value) {
    if (value != value) {
        return 0;
    }
    if (value >= 2147483647.0) {
        return std::numeric_limits<int>::max();
    }
    if (value <= -2147483648.0) {
        return std::numeric_limits<int>::min();
    }
    return static_cast<int>(value);
}

// A fraction as whole percent. Single precision, so that 0.7 is 70 and not 69.
constexpr int wholePercent(float fraction) {
    return truncatedInt(fraction * 100.0f);
}

// A frame coordinate as it is stored: negative values become 0, the low 16 bits are kept.
constexpr std::uint16_t storedCoordinate(double value) {
    if (!(value > 0.0)) {
        return 0;
    }
    const std::uint32_t whole = value >= 4294967295.0 ? std::numeric_limits<std::uint32_t>::max()
                                                      : static_cast<std::uint32_t>(value);
    return static_cast<std::uint16_t>(whole);
}

}  // namespace brairu
