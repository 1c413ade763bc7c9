// How the sections of an evaluation put what they share.
#pragma once

#include <string>

#include "report/numbers.h"

namespace brairu::tool {

inline constexpr char kNotTold[] = "-";

// A threshold that what is said of it holds for: cut at four digits it is what was counted.
inline std::string threshold(double value) {
    constexpr int kDigits = 4;
    return rounded(value, kDigits);
}

}  // namespace brairu::tool
