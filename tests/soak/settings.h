// The calls that change the configuration, and where each of them writes.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace brairu::test {

struct Setting {
    const char* call;
    std::function<std::uint32_t(double)> set;
    const char* section;
    const char* key;
    double otherValue;  // not the usual one; exact in single precision
};

std::span<const Setting> settings();

}  // namespace brairu::test
