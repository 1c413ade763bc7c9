#include "report/numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace brairu::tool {
namespace {

using Digits = std::array<char, 64>;

// Without zeros at the end of a fraction.
std::string trimmed(double value, int digits) {
    std::string number = rounded(value, digits);
    if (digits > 0) {
        number.erase(number.find_last_not_of('0') + 1);
        number.erase(number.find_last_not_of('.') + 1);
    }
    return number;
}

}  // namespace

std::string plain(double value) {
    Digits digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%g", value);
    return digits.data();
}

std::string rounded(double value, int digits) {
    Digits text{};
    (void)std::snprintf(text.data(), text.size(), "%.*f", digits, value);
    return text.data();
}

std::string inBrief(double value) {
    constexpr int kMostDigits = 12;
    const double size = std::abs(value);
    return size > 0.0
               ? trimmed(value, std::clamp(2 - static_cast<int>(std::floor(std::log10(size))), 0,
                                           kMostDigits))
               : "0";
}

std::string percent(double share) {
    constexpr int kMostDigits = 6;
    const double value = 100.0 * share;
    const double rest = 100.0 - value;
    if (rest > 0.0 && rest < 1.0) {
        // What is missing has two digits that count: 99.958, and not 100.
        const int digits = 1 - static_cast<int>(std::floor(std::log10(rest)));
        return trimmed(value, std::min(digits, kMostDigits)) + " %";
    }
    return inBrief(value) + " %";
}

std::string grouped(unsigned long long count) {
    std::string digits = std::to_string(count);
    for (std::ptrdiff_t at = std::ssize(digits) - 3; at > 0; at -= 3) {
        digits.insert(static_cast<std::size_t>(at), 1, ',');
    }
    return digits;
}

std::string counted(long long count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace brairu::tool
