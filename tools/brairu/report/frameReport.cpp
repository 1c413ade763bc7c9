#include "report/frameReport.h"

#include <cmath>

namespace brairu::tool {
namespace {

const char* keyOf(Bound bound) {
    switch (bound) {
        case Bound::above: return "moreThan";
        case Bound::atLeast: return "atLeast";
        case Bound::atMost: return "atMost";
    }
    return "";
}

// As printed in plain text: float noise helps nobody.
double shortened(double value) {
    constexpr double kDigits = 1e6;
    return std::isfinite(value) ? std::round(value * kDigits) / kDigits : value;
}

const char* markOf(const Measure& measure) {
    if (measure.passes()) {
        return "";
    }
    return measure.excused ? "   (not met, which refuses only with the other side)"
                           : "   <- not met";
}

Json jsonOf(const Measure& measure) {
    Json json{{"name", measure.name}, {"value", shortened(measure.value)}};
    if (!measure.unit.empty()) {
        json["unit"] = measure.unit;
    }
    for (const Limit& limit : measure.limits) {
        json[keyOf(limit.bound)] = shortened(limit.value);
    }
    json["passes"] = measure.passes();
    if (measure.excused) {
        json["excused"] = true;
    }
    return json;
}

}  // namespace

std::string textOf(const FrameLabel& label) {
    return "frame " + std::to_string(label.number) + " (" + label.name + ")";
}

std::string refusalOf(const Explanation& explanation) {
    std::string text = std::string("refused, ") + explanation.words.what;
    const char* joint = ": ";
    for (const Measure& reason : explanation.reasons) {
        text += joint + described(reason);
        joint = "; ";
    }
    return text + ". " + explanation.words.advice;
}

Json jsonOf(const Measures& measures) {
    Json list = Json::array();
    for (const Measure& measure : measures) {
        list.push_back(jsonOf(measure));
    }
    return list;
}

Json jsonOf(const FrameLabel& label, const Explanation& explanation) {
    Json json{{"frame", label.name},
              {"number", label.number},
              {"result", explanation.words.id},
              {"message", explanation.words.what}};
    if (*explanation.words.advice != '\0') {
        json["advice"] = explanation.words.advice;
    }
    if (!explanation.reasons.empty()) {
        json["reasons"] = jsonOf(explanation.reasons);
    }
    return json;
}

void sayMeasures(Report& report, const Measures& measures) {
    for (const Measure& measure : measures) {
        report.say("    " + described(measure) + markOf(measure));
    }
}

}  // namespace brairu::tool
