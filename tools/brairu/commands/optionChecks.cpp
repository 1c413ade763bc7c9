#include "commands/optionChecks.h"

#include <charconv>
#include <cstdint>

namespace brairu::tool {
namespace {

template <class Number>
bool isNumber(const std::string& text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end;
}

}  // namespace

std::string faultOfUserNumber(const std::string& text) {
    std::int64_t number = 0;
    return isNumber(text, number) ? "" : text + " is no whole number of 64 bits";
}

std::string faultOfSeconds(const std::string& text) {
    constexpr double kMost = 1e9;
    double seconds = 0.0;
    const bool fits = isNumber(text, seconds) && seconds > 0.0 && seconds <= kMost;
    return fits ? "" : text + " is no number of seconds above 0";
}

}  // namespace brairu::tool
