// Numbers for people.
#pragma once

#include <string>

namespace brairu::tool {

// With as many digits as it needs, at most six: 12, 0.605.
std::string plain(double value);

// With a fixed number of digits after the point.
std::string rounded(double value, int digits);

// "1 palm", "2 palms"
std::string counted(long long count, const std::string& thing);

}  // namespace brairu::tool
