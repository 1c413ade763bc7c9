// A measured value beside the limits that it is held against.
#pragma once

#include <string>
#include <vector>

namespace brairu::tool {

enum class Bound { above, atLeast, atMost };

struct Limit {
    Bound bound;
    double value;
};

struct Measure {
    std::string name;  // "left margin"
    double value = 0.0;
    int digits = 0;    // after the point
    std::string unit;  // "% of the width"; may be empty
    std::vector<Limit> limits;
    bool excused = false;  // by itself it refuses nothing

    bool passes() const;
};

using Measures = std::vector<Measure>;

// "left margin 8 % of the width, needs more than 12 %"
std::string described(const Measure& measure);

}  // namespace brairu::tool
