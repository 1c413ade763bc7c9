#include "training/captureSource.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "handPose/lumaFrame.h"
#include "handPose/placement.h"
#include "handPose/poseDecoder.h"

namespace brairu {
namespace {

constexpr FrameSize kNetworkInput{kNetworkSide, kNetworkSide};
// As in config/brairu.json.
constexpr PlacementSettings kShippedPlacement{0.125f, 0.105f, 0.305f, 0.705f, 0.455f, 0.755f};

using DetectorRow = std::array<std::uint8_t, kRowBytes>;

std::uint8_t networkCoordinate(float framePixel, int frameExtent) {
    const float pixel =
        framePixel * static_cast<float>(kNetworkSide) / static_cast<float>(frameExtent);
    return static_cast<std::uint8_t>(cv::saturate_cast<std::int8_t>(pixel));
}

float breadthOf(const std::array<cv::Point2f, 7>& points) {
    const cv::Point2f across = points[5] - points[2];
    return std::hypot(across.x, across.y) / 0.77f;
}

DetectorRow rowOf(const std::array<cv::Point2f, 7>& truth, cv::Size size, float error,
                  Random& random) {
    const float deviation = error * breadthOf(truth);
    const cv::Point2f common(random.normal(0.6f * deviation), random.normal(0.6f * deviation));
    DetectorRow row{};
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const cv::Point2f own(random.normal(0.8f * deviation), random.normal(0.8f * deviation));
        const cv::Point2f point = truth[i] + common + own;
        row[1 + 2 * i] = networkCoordinate(point.x, size.width);
        row[2 + 2 * i] = networkCoordinate(point.y, size.height);
    }
    return row;
}

cv::Mat lumaOf(const cv::Mat& grey) {
    return featureFrame(grey).rowRange(0, grey.rows).clone();
}

}  // namespace

cv::Size cameraSize(Random& random) {
    const float draw = random.unit();
    if (draw < 0.40f) {
        return {640, 480};
    }
    if (draw < 0.65f) {
        return {480, 640};
    }
    if (draw < 0.78f) {
        return {320, 240};
    }
    if (draw < 0.88f) {
        return {240, 320};
    }
    return draw < 0.95f ? cv::Size(480, 480) : cv::Size(1280, 800);
}

cv::Size anySize(Random& random) {
    const float draw = random.unit();
    if (draw < 0.70f) {
        return cameraSize(random);
    }
    if (draw < 0.90f) {
        return {300 + random.below(400), 300 + random.below(400)};
    }
    return {90 + random.below(100), 90 + random.below(100)};
}

std::optional<PvaHandPose> detectedPose(const std::array<cv::Point2f, 7>& truth, cv::Size size,
                                        float error, Random& random) {
    const DetectorRow row = rowOf(truth, size, error, random);
    const FrameSize frame{size.width, size.height};
    PvaHandPose pose{};
    decodeKeyPoints(row, 0, {}, kNetworkInput, frame, pose);
    encloseKeyPoints(pose);
    if (!judgeHand(pose, frame) ||
        placementCode(pose, frame, kShippedPlacement) != PVA_PLACEMENT_GOOD) {
        return std::nullopt;
    }
    return pose;
}

PalmImages palmLuma(const cv::Mat& frame, PvaHandPose pose) {
    PalmImages images;
    if (extractPalm(frame, kNetworkInput, pose, images) != PVA_PLACEMENT_GOOD) {
        throw std::logic_error("a well placed hand has no palm");
    }
    return {lumaOf(images.regionA), lumaOf(images.regionB), lumaOf(images.whole)};
}

cv::Mat detectorLuma(const cv::Mat& frame) {
    const std::vector<std::uint8_t> input =
        detectorFrame(frame.data, {frame.cols, frame.rows}, kNetworkInput);
    cv::Mat luma(kNetworkSide, kNetworkSide, CV_8U);
    std::memcpy(luma.data, input.data(), luma.total());
    return luma;
}

}  // namespace brairu
