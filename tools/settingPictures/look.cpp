#include "settingPictures/look.h"

#include <algorithm>
#include <stdexcept>

namespace brairu::tool {

const Measure& Look::measure(const std::string& name) const {
    const auto found = std::ranges::find(explanation.measures, name, &Measure::name);
    if (found == explanation.measures.end()) {
        throw std::runtime_error(name + " was not measured");
    }
    return *found;
}

Look lookAt(const cv::Mat& luma, ConfigDocument& config) {
    Look look{captureFrom(luma), {}};
    look.explanation = explain(luma, look.capture, config);
    return look;
}

std::string verdictOf(const Look& look) {
    const std::string words = look.explanation.words.id;
    if (!look.capture.candidate) {
        return "no hand";
    }
    if (!look.capture.hand) {
        return "no hand: " + words;
    }
    return "code " + std::to_string(look.capture.code) + " " + words;
}

int sideOf(const Measure& measure) {
    for (const Limit& limit : measure.limits) {
        if (!Measure{"", measure.value, 0, "", {limit}}.passes()) {
            return limit.bound == Bound::atMost ? 1 : -1;
        }
    }
    return 0;
}

}  // namespace brairu::tool
