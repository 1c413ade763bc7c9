#include "report/numbers.h"

#include <array>
#include <cstdio>

namespace brairu::tool {
namespace {

using Digits = std::array<char, 64>;

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

std::string counted(long long count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace brairu::tool
