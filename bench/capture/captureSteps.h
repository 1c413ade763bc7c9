#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "brairu.h"
#include "handPose.h"
#include "handPose/palmRegion.h"

namespace brairu::bench {

// A palm in a frame, as the shipped networks see it.
struct FoundPalm {
    cv::Mat frame;
    PvaHandPose pose{};  // as detected
    cv::Rect rectangle;  // of the crop
    float angle = 0.0f;  // by which the crop is turned
};

// The capture of one palm: the whole of it, and its steps one by one as the library takes them.
class CaptureSteps {
public:
    // Throws std::runtime_error unless a palm is found in the frame of this size, its crop lies
    // inside the frame and has to be turned, and the capture gives features.
    explicit CaptureSteps(cv::Size size);

    const FoundPalm& palm() const { return palm_; }

    // From the frame to the features. Throws std::runtime_error if there are none.
    void capture();
    // The same, but for the networks and the conversion of their input.
    void captureWithoutNetworks();

    void scaleToInput();
    void decode();
    void checkPlacement();
    void cutCrop();
    void turnCrop();
    void cutRegions();
    void judge();
    void makeFrames();

private:
    FoundPalm find();

    ConfigDocument config_;
    std::shared_ptr<HandPose> detector_;
    std::array<std::uint8_t, PVA_FEATURE_BYTES> features_{};
    cv::Mat image_;
    FrameSize size_;
    FoundPalm palm_;
    std::vector<std::uint8_t> rows_;  // of the hand network, of which one is the palm's
    PalmImages images_;
    cv::Mat networkFrame_;
};

}  // namespace brairu::bench
