// Exports: from camera frames to hands and features.
#include <limits>

#include "brairu.h"
#include "platformLog.h"
#include "pvAuth.h"

namespace {

struct Frame {
    const std::uint8_t* luma;
    std::uint32_t width;
    std::uint32_t height;
};

bool isUsableLength(std::uint32_t length) {
    return length > 0 && length <= static_cast<std::uint32_t>(std::numeric_limits<int>::max());
}

bool isUsable(const Frame& frame, const PvaHandPose* pose) {
    return frame.luma != nullptr && pose != nullptr && isUsableLength(frame.width) &&
           isUsableLength(frame.height);
}

void logUnusable(const char* call) {
    __android_log_print(ANDROID_LOG_ERROR, "pva",
                        "%s: null pointer, or a frame without width or height\r\n", call);
}

brairu::FrameSize sizeOf(const Frame& frame) {
    return {static_cast<int>(frame.width), static_cast<int>(frame.height)};
}

bool detect(brairu::HandPose& detector, const Frame& frame, PvaHandPose& pose, bool scoreBoost) {
    return detector.detect(frame.luma, sizeOf(frame), pose, scoreBoost);
}

}  // namespace

std::uint32_t pvaGetHandPose(const std::uint8_t* image, std::uint32_t width, std::uint32_t height,
                             PvaHandPose* pose) {
    brairu::HandPose& detector = brairu::engineDetector(__func__);
    const Frame frame{image, width, height};
    if (!isUsable(frame, pose)) {
        logUnusable(__func__);
        return 0;
    }
    return detect(detector, frame, *pose, false);
}

std::uint32_t pvaGetHandPoseVeinAndPrints(const std::uint8_t* image1, std::uint32_t width1,
                                          std::uint32_t height1, PvaHandPose* pose1,
                                          const std::uint8_t* image2, std::uint32_t width2,
                                          std::uint32_t height2, PvaHandPose* pose2) {
    brairu::HandPose& detector = brairu::engineDetector(__func__);
    const Frame frame1{image1, width1, height1};
    const Frame frame2{image2, width2, height2};
    if (!isUsable(frame1, pose1) || !isUsable(frame2, pose2)) {
        logUnusable(__func__);
        return 0;
    }
    detect(detector, frame2, *pose2, true);
    detector.checkPlacement(sizeOf(frame2), *pose2);
    if (!detect(detector, frame1, *pose1, false)) {
        return 0;
    }
    detector.checkPlacement(sizeOf(frame1), *pose1);
    return 1;
}

std::uint32_t pvaGetFeat(std::uint8_t* image, std::uint32_t width, std::uint32_t height,
                         PvaHandPose* pose, std::uint8_t* features) {
    brairu::HandPose& detector = brairu::engineDetector(__func__);
    const Frame frame{image, width, height};
    if (!isUsable(frame, pose) || features == nullptr) {
        logUnusable(__func__);
        return PVA_PLACEMENT_SMALL;
    }
    return detector.extractFeatures(image, sizeOf(frame), *pose, features);
}
