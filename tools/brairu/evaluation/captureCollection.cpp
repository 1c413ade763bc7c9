#include "evaluation/captureCollection.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>

#include "explanations/explanation.h"
#include "fault.h"
#include "frames/frameFile.h"

namespace brairu::tool {
namespace {

struct MeasuredTrait {
    const char* name;  // of the measure
    const char* unit;
};

constexpr std::array kMeasured{
    MeasuredTrait{"brightness of the palm", ""},
    MeasuredTrait{"sharpness of the palm", ""},
    MeasuredTrait{"hand height", "% of the height"},
};

float valueOf(const Measures& measures, const char* name) {
    const auto found = std::ranges::find(measures, name, &Measure::name);
    return found == measures.end() ? std::numeric_limits<float>::quiet_NaN()
                                   : static_cast<float>(found->value);
}

std::string progressText(std::size_t number, std::size_t all) {
    return "picture " + std::to_string(number) + " of " + std::to_string(all);
}

}  // namespace

void ignoreGuidance(ConfigDocument& config) {
    constexpr int kMostGrey = 255;
    ConfigDocument& limits = config["handpose"];
    limits["horizontal_offset_tolerance"] = limits["vertical_offset_tolerance"] = -1.0;
    limits["hand_size_width_min"] = limits["hand_size_height_min"] = 0.0;
    limits["hand_size_width_max"] = limits["hand_size_height_max"] = 2.0;
    limits["brightness_threshold_min"] = 0;
    limits["brightness_threshold_max"] = limits["brightness_range_threshold"] = kMostGrey;
    limits["blur_threshold"] = 0.0;
}

CaptureCollection::CaptureCollection(ConfigDocument config, std::vector<Trait> traits)
    : config_(std::move(config)) {
    set_.traits = std::move(traits);
    for (const MeasuredTrait& measured : kMeasured) {
        set_.traits.push_back({measured.name, measured.unit});
    }
}

void CaptureCollection::beginPalm(const std::string& name) {
    set_.palms.push_back(name);
}

Capture CaptureCollection::add(const std::string& name, const cv::Mat& luma,
                               std::vector<float> traits) {
    const std::clock_t start = std::clock();
    const Capture capture = captureFrom(luma);
    set_.seconds += static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    const Explanation explanation = explain(luma, capture, config_);
    for (const MeasuredTrait& measured : kMeasured) {
        traits.push_back(valueOf(explanation.measures, measured.name));
    }
    EvaluatedCapture& kept = set_.captures.emplace_back();
    kept.name = name;
    kept.palm = set_.palms.size() - 1;
    kept.traits = std::move(traits);
    if (capture.isGood()) {
        kept.blocks = splitFeature(capture.features.data(), PVA_FEATURE_BLOCK_BYTES);
    } else {
        kept.refusalId = explanation.words.id;
        kept.refusal = explanation.words.what;
    }
    return capture;
}

CaptureSet collectPictures(const std::vector<PalmPicture>& pictures,
                           std::optional<cv::Size> rawSize, const ConfigDocument& config,
                           Report& report) {
    std::vector<PalmPicture> byPalm = pictures;
    std::ranges::stable_sort(byPalm, {}, &PalmPicture::palm);
    CaptureCollection collection(config, {});
    std::string palm;
    for (std::size_t i = 0; i < byPalm.size(); ++i) {
        report.progress(progressText(i + 1, byPalm.size()));
        if (collection.palms() == 0 || byPalm[i].palm != palm) {
            palm = byPalm[i].palm;
            collection.beginPalm(palm);
        }
        try {
            const Frame frame = readFrame(byPalm[i].path, rawSize);
            collection.add(byPalm[i].name, frame.luma, {});
        } catch (const InputFault& fault) {
            collection.addUnreadable(fault.what());
            report.say(fault.what());
            continue;
        }
        if (!collection.last().isAcquired()) {
            report.say(collection.last().name + ": refused, " + collection.last().refusal);
        }
    }
    return collection.take();
}

}  // namespace brairu::tool
