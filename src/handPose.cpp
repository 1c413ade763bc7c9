#include "handPose.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

#include "handPose/lumaFrame.h"
#include "handPose/palmRegion.h"
#include "handPose/placement.h"
#include "handPose/qualityGate.h"
#include "utils/convert.h"

namespace brairu {
namespace {

// What fault lines of the hand-pose network name.
constexpr char kSourceFile[] = "src/handPose.cpp";

FrameSize configuredInput(ConfigDocument& config, const char* section) {
    return {readInt(config, section, "input_w"), readInt(config, section, "input_h")};
}

void loadNetwork(NetRuntime& network, ConfigDocument& config) {
    const std::string netPath = readText(config, "handpose", "model_path_net");
    const std::string blobsPath = readText(config, "handpose", "model_path_blobs");
    std::printf("model_path_net %s\r\n", netPath.c_str());
    std::printf("model_path_blobs %s\r\n", blobsPath.c_str());
    ModelPair models;
    readNetFile(netPath, models.net);
    readBlobsFile(blobsPath, models.blobs);
    network.loadModels(std::move(models));
}

}  // namespace

HandPose::HandPose(const ConfigDocument& document)
    : config_(document), features_(config_), network_(kSourceFile) {
    loadNetwork(network_, config_);
    network_.prepare(configuredInput(config_, "handpose"));
}

HandPose::~HandPose() {
    std::puts("release handpose\r");
    network_.teardown();
    std::puts("release handpose done\r");
}

bool HandPose::detect(const std::uint8_t* luma, FrameSize frame, PvaHandPose& pose,
                      bool scoreBoost) {
    const FrameSize input = network_.frameSize();
    const NetOutputs outputs = network_.run(detectorFrame(luma, frame, input));
    layout_.selectFor(outputs.firstName());
    const std::span<const std::uint8_t> rows = scannedBytes(outputs);
    const std::optional<BestRow> best = bestRow(rows, layout_);
    if (!best || scorePercent(*best, layout_, scoreBoost) < scoreThreshold()) {
        return false;
    }
    decodeKeyPoints(rows, best->index, layout_, input, frame, pose);
    encloseKeyPoints(pose);
    return judgeHand(pose, frame);
}

// The rows that the configured input size promises, as far as the tensor has them.
std::span<const std::uint8_t> HandPose::scannedBytes(const NetOutputs& outputs) {
    const auto promised =
        static_cast<std::size_t>(outputBytesFor(configuredInput(config_, "handpose")));
    return outputs.data().first(std::min(promised, outputs.data().size()));
}

int HandPose::scoreThreshold() {
    return wholePercent(readFloat(config_, "handpose", "model_probability_threshold"));
}

std::uint32_t HandPose::checkPlacement(FrameSize frame, PvaHandPose& pose) {
    pose.placementCode = placementCode(pose, frame, readPlacementSettings(config_));
    return pose.placementCode;
}

std::uint32_t HandPose::extractFeatures(std::uint8_t* luma, FrameSize frame, PvaHandPose& pose,
                                        std::uint8_t* features) {
    if (const std::uint32_t code = checkPlacement(frame, pose); code != PVA_PLACEMENT_GOOD) {
        return code;
    }
    pose.placementCode = cutPalm({frame.height, frame.width, CV_8UC1, luma}, pose);
    if (pose.placementCode == PVA_PLACEMENT_GOOD) {
        features_.extract(palm_, features);
    }
    return pose.placementCode;
}

// Cuts the palm images and lets the quality gate judge them.
std::uint32_t HandPose::cutPalm(const cv::Mat& frame, PvaHandPose& pose) {
    const std::uint32_t code = extractPalm(frame, configuredInput(config_, "feature"), pose, palm_);
    if (code != PVA_PLACEMENT_GOOD) {
        return code;
    }
    return qualityCode(palm_.regionA, palm_.regionB, readQualitySettings(config_));
}

}  // namespace brairu
