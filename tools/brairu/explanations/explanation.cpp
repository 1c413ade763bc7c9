#include "explanations/explanation.h"

#include <algorithm>

#include "handPose/placement.h"
#include "utils/convert.h"

namespace brairu::tool {
namespace {

Measure scoreMeasure(int score, ConfigDocument& config) {
    const float threshold = readFloat(config, "handpose", "model_probability_threshold");
    return {"hand score",
            static_cast<double>(score),
            0,
            "%",
            {{Bound::atLeast, static_cast<double>(wholePercent(threshold))}}};
}

Stage stageOf(const Capture& capture, cv::Size frame, ConfigDocument& config) {
    const std::uint32_t placement =
        placementCode(capture.found, {frame.width, frame.height}, readPlacementSettings(config));
    return placement == PVA_PLACEMENT_GOOD ? Stage::quality : Stage::placement;
}

const Words& wordsOf(const cv::Mat& luma, const Capture& capture, ConfigDocument& config) {
    if (!capture.candidate) {
        return wordsForNobody();
    }
    if (!capture.hand) {
        return wordsForFault(handFault(capture.found, luma.size()));
    }
    return wordsFor(capture.code, stageOf(capture, luma.size(), config));
}

void add(Measures& all, const Measures& more) {
    all.insert(all.end(), more.begin(), more.end());
}

bool decides(const Measure& measure, const Words& words) {
    return *words.measured != '\0' && measure.name.starts_with(words.measured) && !measure.passes();
}

}  // namespace

Explanation explain(const cv::Mat& luma, const Capture& capture, ConfigDocument& config,
                    std::optional<int> score) {
    Explanation explanation{wordsOf(luma, capture, config), {}, {}};
    if (score) {
        explanation.measures.push_back(scoreMeasure(*score, config));
    }
    if (capture.candidate) {
        add(explanation.measures, measurePlacement(capture.found, luma.size(), config));
    }
    if (capture.hand && stageOf(capture, luma.size(), config) == Stage::quality) {
        add(explanation.measures, measureQuality(luma, capture.found, config));
    }
    std::ranges::copy_if(explanation.measures, std::back_inserter(explanation.reasons),
                         [&](const Measure& each) { return decides(each, explanation.words); });
    return explanation;
}

}  // namespace brairu::tool
