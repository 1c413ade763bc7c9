// What a capture takes from the heap once the first has taken what is kept.
#include <gtest/gtest.h>

#include <memory>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "countedHeap.h"
#include "frugalNpu.h"
#include "handPose.h"
#include "handPose/geometry.h"
#include "handPose/lumaFrame.h"
#include "handPose/qualityGate.h"
#include "support/captureOutput.h"
#include "support/engineFolder.h"
#include "support/poseOutput.h"
#include "support/seededRandom.h"

namespace brairu {
namespace {

using test::allocationsOf;

constexpr FrameSize kFrame{640, 480};
constexpr FrameSize kInput{128, 128};
const cv::Size kInputSize(128, 128);
const cv::Size kCrop(192, 192);
constexpr int kRows = 336;

constexpr int kOfTheScratchFrame = 1;
constexpr int kOfTheColumnTable = 1;

std::vector<std::uint8_t> texturedPlane() {
    test::SeededRandom random;
    std::vector<std::uint8_t> plane(static_cast<std::size_t>(kFrame.width * kFrame.height));
    for (std::uint8_t& pixel : plane) {
        pixel = static_cast<std::uint8_t>(random.between(80, 160));
    }
    return plane;
}

// A palm whose crop is turned.
std::vector<std::uint8_t> turnedHand() {
    auto points = test::kUprightHand;
    points[5].y += 12;
    return test::PoseOutput(kRows).put(100, {90, points}).bytes();
}

class CaptureMemory : public testing::Test {
protected:
    CaptureMemory() {
        test::putOut(rows_);
        test::stdoutOf([&] { detector_ = std::make_unique<HandPose>(folder_.document); });
    }
    ~CaptureMemory() override {
        test::stdoutOf([&] { detector_.reset(); });
    }

    void detect() { found_ = detector_->detect(plane_.data(), kFrame, pose_, false); }
    void extract() {
        PvaHandPose pose = pose_;
        code_ = detector_->extractFeatures(plane_.data(), kFrame, pose, features_.data());
    }

    // What OpenCV's calls take for themselves while they make the images of this palm, whose memory
    // they are given.
    int allocationsOfImageCalls() const {
        PvaHandPose moved = pose_;
        moveCentreToPalm(moved, kInput);
        const cv::Rect rectangle = cropRectangle(moved);
        const cv::Mat frame(kFrame.height, kFrame.width, CV_8UC1,
                            const_cast<std::uint8_t*>(plane_.data()));
        const float angle = uprightAngle(keyPointsInCrop(moved, rectangle, kCrop), 0);
        EXPECT_GE(std::abs(angle), 10.0f);
        EXPECT_EQ(rectangle & cv::Rect(0, 0, frame.cols, frame.rows), rectangle);
        const cv::Matx23d turn = cv::getRotationMatrix2D_({96, 96}, angle, 1.0);
        cv::Mat crop(kCrop, CV_8UC1);
        cv::Mat turned(kCrop, CV_8UC1);
        cv::Mat scaled(kInputSize, CV_8UC1);
        return allocationsOf([&] {
            cv::resize(frame(rectangle), crop, kCrop);
            cv::warpAffine(crop, turned, turn, kCrop);
            cv::resize(turned(cv::Rect(24, 24, 144, 144)), scaled, kInputSize);
            cv::resize(turned(cv::Rect(39, 39, 115, 115)), scaled, kInputSize);
            cv::resize(turned, scaled, kInputSize);
        });
    }

    test::EngineFolder folder_;
    std::vector<std::uint8_t> rows_ = turnedHand();
    std::vector<std::uint8_t> plane_ = texturedPlane();
    std::vector<std::uint8_t> features_ = std::vector<std::uint8_t>(PVA_FEATURE_BYTES);
    std::unique_ptr<HandPose> detector_;
    PvaHandPose pose_{};
    bool found_ = false;
    std::uint32_t code_ = 99;
};

TEST_F(CaptureMemory, OfDetectingIsAFrameAndATable) {
    detect();
    EXPECT_EQ(allocationsOf([&] { detect(); }), kOfTheScratchFrame + kOfTheColumnTable);
    EXPECT_TRUE(found_);
}

TEST_F(CaptureMemory, OfPlacementIsNone) {
    detect();
    EXPECT_EQ(allocationsOf([&] { detector_->checkPlacement(kFrame, pose_); }), 0);
}

TEST_F(CaptureMemory, OfFeaturesIsWhatOpenCvAndTheLineFitTakeForThemselves) {
    detect();
    extract();
    const int allocations = allocationsOf([&] { extract(); });
    EXPECT_EQ(code_, 0u);
    const std::vector<cv::Point> fingerBases{{0, 1}, {10, 21}, {20, 43}, {30, 61}};
    EXPECT_EQ(allocations,
              allocationsOfImageCalls() + allocationsOf([&] { fitLine(fingerBases); }));
}

TEST_F(CaptureMemory, DoesNotGrow) {
    detect();
    extract();
    const int second = allocationsOf([&] { detect(), extract(); });
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(allocationsOf([&] { detect(), extract(); }), second);
    }
}

TEST(MemoryOfTheGate, IsNone) {
    const cv::Mat region(kInputSize, CV_8UC1, cv::Scalar(120));
    const QualitySettings settings{10, 250, 200, -1.0f, false};
    EXPECT_EQ(allocationsOf([&] { qualityCode(region, region, settings); }), 0);
}

TEST(MemoryOfAFeatureFrame, IsNoneOnceThereIsOne) {
    const cv::Mat region(kInputSize, CV_8UC1, cv::Scalar(120));
    const cv::Mat frame = featureFrame(region);
    EXPECT_EQ(allocationsOf([&] { featureFrame(region, frame); }), 0);
}

}  // namespace
}  // namespace brairu
