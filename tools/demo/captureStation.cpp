#include "captureStation.h"

namespace demo {
namespace {

// No training ever draws from this seed.
constexpr std::uint64_t kDemoSeed = 0x5eed0fde30;
constexpr int kMostFrames = 5;
const cv::Size kFrameSize(640, 480);

std::string wordsFor(std::uint32_t code) {
    switch (code) {
        case 0: return " 0 good";
        case 1: return " 1 too far left";
        case 2: return " 2 too far right";
        case 3: return " 3 too high";
        case 4: return " 4 too low";
        case 5: return " 5 too bright";
        case 6: return " 6 too dark";
        case 14: return "14 too large or uneven light";
        case 15: return "15 too small or blurred";
        default: return std::to_string(code);
    }
}

}  // namespace

Capture CaptureStation::capture(const brairu::PalmIdentity& palm, int number,
                                brairu::Scenario scenario) {
    const brairu::CaptureConditions conditions =
        brairu::captureOf(kDemoSeed, palm, number, scenario);
    Capture capture;
    capture.frame = brairu::render(palm, conditions, kFrameSize).luma;
    detectAndExtract(capture);
    ++report_.codes[capture.outcome];
    return capture;
}

void CaptureStation::detectAndExtract(Capture& capture) {
    const auto width = static_cast<std::uint32_t>(capture.frame.cols);
    const auto height = static_cast<std::uint32_t>(capture.frame.rows);
    PvaHandPose pose{};
    const bool found = timed("pvaGetHandPose", [&] {
        return pvaGetHandPose(capture.frame.data, width, height, &pose) == 1;
    });
    capture.found = pose;
    if (!found) {
        capture.outcome = "no usable hand";
        return;
    }
    const std::uint32_t code = timed("pvaGetFeat", [&] {
        return pvaGetFeat(capture.frame.data, width, height, &pose, capture.features.data());
    });
    capture.outcome = wordsFor(code);
    capture.usable = code == PVA_PLACEMENT_GOOD;
}

Capture CaptureStation::usableCapture(const brairu::PalmIdentity& palm, int& number,
                                      StepReport& step) {
    Capture last;
    for (int frames = 0; frames < kMostFrames && !last.usable; ++frames) {
        last = capture(palm, number++);
        ++step.captures;
    }
    return last;
}

}  // namespace demo
