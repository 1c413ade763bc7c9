#include "engine/capture.h"

#include <algorithm>

namespace brairu::tool {
namespace {

// What no detection writes to every key point.
constexpr PvaPoint kUnwritten{0xffff, 0xffff};

struct Detection {
    bool candidate = false;
    bool hand = false;
    PvaHandPose pose{};
};

std::uint32_t widthOf(const cv::Mat& luma) {
    return static_cast<std::uint32_t>(luma.cols);
}

std::uint32_t heightOf(const cv::Mat& luma) {
    return static_cast<std::uint32_t>(luma.rows);
}

bool isUnwritten(const PvaPoint& point) {
    return point.x == kUnwritten.x && point.y == kUnwritten.y;
}

Detection detectionIn(const cv::Mat& luma) {
    Detection detection;
    std::ranges::fill(detection.pose.keyPoints, kUnwritten);
    detection.hand = pvaGetHandPose(luma.data, widthOf(luma), heightOf(luma), &detection.pose) == 1;
    detection.candidate = !std::ranges::all_of(detection.pose.keyPoints, isUnwritten);
    return detection;
}

// The middle of a whole per cent, so that no rounding moves it.
float fractionOf(int percent) {
    return (static_cast<float>(percent) + 0.5f) / 100.0f;
}

}  // namespace

Capture captureFrom(const cv::Mat& luma) {
    const Detection detection = detectionIn(luma);
    Capture capture;
    capture.candidate = detection.candidate;
    capture.hand = detection.hand;
    if (detection.candidate) {
        capture.found = detection.pose;
    }
    if (capture.hand) {
        PvaHandPose pose = capture.found;
        capture.code =
            pvaGetFeat(luma.data, widthOf(luma), heightOf(luma), &pose, capture.features.data());
    }
    return capture;
}

int handScore(const cv::Mat& luma, float threshold) {
    int passed = 0;
    int failed = 256;  // no score of one byte reaches this
    while (failed - passed > 1) {
        const int middle = (passed + failed) / 2;
        pvaConfigSetHandThreshold(fractionOf(middle));
        (detectionIn(luma).candidate ? passed : failed) = middle;
    }
    pvaConfigSetHandThreshold(threshold);
    return passed;
}

}  // namespace brairu::tool
