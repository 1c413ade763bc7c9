// Takes frames through the engine, one after the other, and keeps what came of them. The engine must
// be started.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "config/configStore.h"
#include "engine/capture.h"
#include "evaluation/captureSet.h"
#include "evaluation/palmPictures.h"
#include "report/report.h"

namespace brairu::tool {

// Opens the limits of placement, size, light and sharpness, for pictures that nobody guided.
void ignoreGuidance(ConfigDocument& config);

class CaptureCollection {
public:
    // traits: the first of the traits of every capture; what the library measures follows them.
    CaptureCollection(ConfigDocument config, std::vector<Trait> traits);

    // The palm that captures then belong to.
    void beginPalm(const std::string& name);
    const std::string& palm() const { return set_.palms.back(); }
    std::size_t palms() const { return set_.palms.size(); }
    // From here on.
    void beginBystanders() { set_.firstBystander = set_.palms.size(); }

    // Its traits' values. Why it was refused, if it was, stands in the last capture.
    Capture add(const std::string& name, const cv::Mat& luma, std::vector<float> traits);
    void addUnreadable(const std::string& reason) { set_.unreadable.push_back(reason); }
    const EvaluatedCapture& last() const { return set_.captures.back(); }

    CaptureSet take() { return std::move(set_); }

private:
    ConfigDocument config_;
    CaptureSet set_;
};

// The pictures of a folder, each refusal told as it comes.
CaptureSet collectPictures(const std::vector<PalmPicture>& pictures,
                           std::optional<cv::Size> rawSize, const ConfigDocument& config,
                           Report& report);

}  // namespace brairu::tool
