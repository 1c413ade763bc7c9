// One capture, from a camera frame to the features of a palm.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "brairu.h"
#include "config/configStore.h"
#include "handPose/featureNetworks.h"
#include "handPose/poseDecoder.h"
#include "npu/netRuntime.h"

namespace brairu {

class HandPose {
public:
    // Loads and prepares every network: the feature networks, then the hand-pose network. Ends the
    // process on a fault of the NPU stack.
    explicit HandPose(const ConfigDocument& document);
    ~HandPose();
    HandPose(const HandPose&) = delete;
    HandPose& operator=(const HandPose&) = delete;

    // The detector's own copy of the configuration; the setters refresh it.
    void refreshConfig(const ConfigDocument& document) { config_ = document; }

    // Finds the hand in a packed luma plane. True for a usable hand. Below the score threshold pose
    // stays as it is. scoreBoost adds 10 percent to the score.
    bool detect(const std::uint8_t* luma, FrameSize frame, PvaHandPose& pose, bool scoreBoost);

    // Writes and returns the placement code of a detected hand.
    std::uint32_t checkPlacement(FrameSize frame, PvaHandPose& pose);

    // Extracts the features of a hand detected in this frame: 0, or the code that says why not. The
    // code also goes to pose.
    std::uint32_t extractFeatures(std::uint8_t* luma, FrameSize frame, PvaHandPose& pose,
                                  std::uint8_t* features);

private:
    std::span<const std::uint8_t> scannedBytes(const NetOutputs& outputs);
    int scoreThreshold();
    std::uint32_t cutPalm(const cv::Mat& frame, PvaHandPose& pose);

    ConfigDocument config_;
    FeatureNetworks features_;
    NetRuntime network_;
    OutputLayout layout_;
    PalmImages palm_;  // memory of earlier captures
};

}  // namespace brairu
