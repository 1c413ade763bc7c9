// The two networks that turn palm images into features.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

#include "config/configStore.h"
#include "handPose/palmRegion.h"
#include "npu/netRuntime.h"

namespace brairu {

class FeatureNetworks {
public:
    // Loads and prepares the feature network, then the support network. Ends the process on a fault
    // of the NPU stack.
    explicit FeatureNetworks(ConfigDocument& document);
    ~FeatureNetworks();
    FeatureNetworks(const FeatureNetworks&) = delete;
    FeatureNetworks& operator=(const FeatureNetworks&) = delete;

    // Writes the three blocks of one capture, PVA_FEATURE_BYTES, to output: regions A and B through
    // the support network, the whole crop through the feature network. Throws
    // std::invalid_argument, before any run, for images with an odd side.
    void extract(const PalmImages& images, std::uint8_t* output);

    // Runs one network (0: feature, 1: support) on a 4:2:0 frame and copies its output to block
    // slot of output.
    void runFeature(const cv::Mat& frame, std::uint8_t* output, int network, int slot);

private:
    const cv::Mat& frameOf(const cv::Mat& grey);

    NpuFaults faults_;
    NetRuntime feature_;
    NetRuntime support_;
    cv::Mat frame_;  // memory of earlier runs
};

}  // namespace brairu
