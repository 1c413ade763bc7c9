// Numbers for people.
#pragma once

#include <string>

namespace brairu::tool {

// With as many digits as it needs, at most six: 12, 0.605.
std::string plain(double value);

// With a fixed number of digits after the point.
std::string rounded(double value, int digits);

// With three digits that count, written out: 0.0000123, 4.5, 1235.
std::string inBrief(double value);

// A share as per cent, in brief; near all of it by what is missing: "0.137 %", "99.958 %".
std::string percent(double share);

// "6,960"
std::string grouped(unsigned long long count);

// "1 palm", "2 palms"
std::string counted(long long count, const std::string& thing);

}  // namespace brairu::tool
