#include "measures/measure.h"

#include <algorithm>

#include "report/numbers.h"

namespace brairu::tool {
namespace {

bool holds(double value, const Limit& limit) {
    switch (limit.bound) {
        case Bound::above: return value > limit.value;
        case Bound::atLeast: return value >= limit.value;
        case Bound::atMost: return value <= limit.value;
    }
    return false;
}

const char* wordsOf(Bound bound) {
    switch (bound) {
        case Bound::above: return "more than ";
        case Bound::atLeast: return "at least ";
        case Bound::atMost: return "at most ";
    }
    return "";
}

std::string unitAfterLimit(const Measure& measure) {
    return measure.unit.starts_with("%") ? " %" : "";
}

std::string valueOf(const Measure& measure) {
    const std::string number = rounded(measure.value, measure.digits);
    return measure.unit.empty() ? number : number + " " + measure.unit;
}

}  // namespace

bool Measure::passes() const {
    return std::ranges::all_of(limits, [this](const Limit& limit) { return holds(value, limit); });
}

std::string described(const Measure& measure) {
    std::string text = measure.name + " " + valueOf(measure);
    const char* joint = ", needs ";
    for (const Limit& limit : measure.limits) {
        text += joint + std::string(wordsOf(limit.bound)) + plain(limit.value) +
                unitAfterLimit(measure);
        joint = " and ";
    }
    return text;
}

}  // namespace brairu::tool
