#include "capture/captureSteps.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

#include "capture/captureFrames.h"
#include "capture/restingNetworks.h"
#include "handPose/lumaFrame.h"
#include "handPose/placement.h"
#include "handPose/poseDecoder.h"
#include "handPose/qualityGate.h"
#include "silence.h"

namespace brairu::bench {
namespace {

constexpr FrameSize kDetectorInput{128, 128};
constexpr FrameSize kFeatureInput{128, 128};
constexpr float kLeastTurn = 10.0f;
constexpr std::size_t kPalmsRow = 100;
constexpr std::uint8_t kScore = 90;

ConfigDocument shippedConfig() {
    ConfigDocument config;
    std::ifstream file("config/brairu.json");
    if (!file) {
        throw std::runtime_error("the capture is timed in the root of the repository only");
    }
    file >> config;
    return config;
}

// Without what it says at its start and at its end.
std::shared_ptr<HandPose> startedDetector(const ConfigDocument& config) {
    const Silence silence;
    return {new HandPose(config), [](HandPose* detector) {
                const Silence atTheEnd;
                delete detector;
            }};
}

void require(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(std::string("the frame that captures are timed with: ") + what);
    }
}

std::uint8_t networkCoordinate(int coordinate, int frame, int input) {
    return static_cast<std::uint8_t>(coordinate * input / frame);
}

// What the hand network would put out for a palm.
std::vector<std::uint8_t> rowsWith(const PvaHandPose& pose, FrameSize frame) {
    std::vector<std::uint8_t> rows(static_cast<std::size_t>(outputBytesFor(kDetectorInput)));
    std::uint8_t* byte = rows.data() + kPalmsRow * kRowBytes;
    *byte++ = kScore;
    for (const PvaPoint& point : pose.keyPoints) {
        *byte++ = networkCoordinate(point.x, frame.width, kDetectorInput.width);
        *byte++ = networkCoordinate(point.y, frame.height, kDetectorInput.height);
    }
    return rows;
}

}  // namespace

CaptureSteps::CaptureSteps(cv::Size size)
    : config_(shippedConfig()),
      detector_(startedDetector(config_)),
      image_(turnedPalm(size)),
      size_{size.width, size.height},
      palm_(find()),
      rows_(rowsWith(palm_.pose, size_)) {
    capture();
    cutCrop();
    turnCrop();
    cutRegions();
}

FoundPalm CaptureSteps::find() {
    FoundPalm palm{image_, {}, {}, 0.0f};
    require(detector_->detect(image_.data, size_, palm.pose, false), "no palm is found");
    PvaHandPose moved = palm.pose;
    moveCentreToPalm(moved, kFeatureInput);
    palm.rectangle = cropRectangle(moved);
    require((palm.rectangle & cv::Rect({}, image_.size())) == palm.rectangle, "the crop leaves it");
    palm.angle = uprightAngle(keyPointsInCrop(moved, palm.rectangle, cropSize(kFeatureInput)),
                              moved.orientation);
    require(std::abs(palm.angle) > kLeastTurn, "the palm is upright");
    return palm;
}

void CaptureSteps::capture() {
    PvaHandPose pose{};
    require(detector_->detect(image_.data, size_, pose, false), "no palm is found");
    require(detector_->extractFeatures(image_.data, size_, pose, features_.data()) == 0,
            "it gives no features");
}

void CaptureSteps::captureWithoutNetworks() {
    const RestingNetworks resting;
    capture();
}

void CaptureSteps::scaleToInput() {
    benchmark::DoNotOptimize(detectorFrame(image_.data, size_, kDetectorInput));
}

void CaptureSteps::decode() {
    OutputLayout layout;
    layout.selectFor("output0");
    const std::optional<BestRow> best = bestRow(rows_, layout);
    PvaHandPose pose{};
    benchmark::DoNotOptimize(scorePercent(*best, layout, false));
    decodeKeyPoints(rows_, best->index, layout, kDetectorInput, size_, pose);
    encloseKeyPoints(pose);
    benchmark::DoNotOptimize(judgeHand(pose, size_));
}

void CaptureSteps::checkPlacement() {
    benchmark::DoNotOptimize(placementCode(palm_.pose, size_, readPlacementSettings(config_)));
}

void CaptureSteps::cutCrop() {
    images_.crop = scaledCut(image_, palm_.rectangle, cropSize(kFeatureInput), images_.crop);
}

void CaptureSteps::turnCrop() {
    const float angle = uprightAngle(
        keyPointsInCrop(palm_.pose, palm_.rectangle, images_.crop.size()), palm_.pose.orientation);
    images_.rotated = rotatedUpright(images_.crop, angle, images_.rotated);
}

void CaptureSteps::cutRegions() {
    benchmark::DoNotOptimize(brairu::cutRegions(images_.rotated, kFeatureInput, images_));
}

void CaptureSteps::judge() {
    benchmark::DoNotOptimize(
        qualityCode(images_.regionA, images_.regionB, readQualitySettings(config_)));
}

void CaptureSteps::makeFrames() {
    for (const cv::Mat& image : {images_.whole, images_.regionA, images_.regionB}) {
        networkFrame_ = featureFrame(image, networkFrame_);
    }
    benchmark::DoNotOptimize(networkFrame_.data);
}

}  // namespace brairu::bench
