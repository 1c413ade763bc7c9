#include "training/captureSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

#include "handPose/lumaFrame.h"
#include "handPose/placement.h"

namespace brairu {
namespace {

constexpr std::uint64_t kSeed = 11;
const cv::Size kFrame{640, 480};
// Key points come in pixels of a network of 128 x 128, of which one is five of the frame.
constexpr float kNetworkPixel = 5.0f;

using Points = std::array<cv::Point2f, 7>;

const PalmIdentity& palm() {
    static const PalmIdentity identity = identityOf(kSeed, 3, Hand::left);
    return identity;
}

CaptureConditions goodCapture() {
    return captureOf(kSeed, palm(), 0, Scenario::enrolment);
}

Points truth() {
    return keyPointsIn(palm(), goodCapture(), kFrame);
}

float meanDistance(const PvaHandPose& pose, const Points& points) {
    float sum = 0.0f;
    for (std::size_t i = 0; i < points.size(); ++i) {
        sum += std::hypot(static_cast<float>(pose.keyPoints[i].x) - points[i].x,
                          static_cast<float>(pose.keyPoints[i].y) - points[i].y);
    }
    return sum / static_cast<float>(points.size());
}

float meanDistanceAt(float error) {
    float sum = 0.0f;
    int count = 0;
    Random random{kSeed};
    for (int i = 0; i < 50; ++i) {
        if (const auto pose = detectedPose(truth(), kFrame, error, random)) {
            sum += meanDistance(*pose, truth());
            ++count;
        }
    }
    return sum / static_cast<float>(std::max(count, 1));
}

TEST(DetectedPose, OfAnExactDetectorIsOffByTheRoundingAlone) {
    Random random{kSeed};
    const auto pose = detectedPose(truth(), kFrame, 0.0f, random);
    ASSERT_TRUE(pose);
    EXPECT_LT(meanDistance(*pose, truth()), kNetworkPixel);
    EXPECT_GT(pose->width, 0);
    EXPECT_EQ(pose->orientation, 0);
}

TEST(DetectedPose, IsFartherOffTheWorseTheDetector) {
    const float exact = meanDistanceAt(0.0f);
    const float usual = meanDistanceAt(0.03f);
    EXPECT_GT(usual, exact);
    EXPECT_GT(meanDistanceAt(0.06f), usual);
}

TEST(DetectedPose, IsNoneWhereTheHandIsBadlyPlaced) {
    Points points = truth();
    for (cv::Point2f& point : points) {
        point.x -= 0.3f * static_cast<float>(kFrame.width);
    }
    Random random{kSeed};
    EXPECT_FALSE(detectedPose(points, kFrame, 0.0f, random));
}

TEST(DetectedPose, IsNoneWhereTheHandIsTooSmall) {
    Points points = truth();
    const cv::Point2f middle(320.0f, 240.0f);
    for (cv::Point2f& point : points) {
        point = middle + (point - middle) * 0.2f;
    }
    Random random{kSeed};
    EXPECT_FALSE(detectedPose(points, kFrame, 0.0f, random));
}

TEST(PalmLuma, GivesThreeNetworkImagesInTheBroadcastRange) {
    Random random{kSeed};
    const auto pose = detectedPose(truth(), kFrame, 0.0f, random);
    ASSERT_TRUE(pose);
    const cv::Mat white(kFrame, CV_8U, cv::Scalar(255));
    const PalmImages images = palmLuma(white, *pose);
    for (const cv::Mat& image : {images.regionA, images.regionB, images.whole}) {
        EXPECT_EQ(image.size(), cv::Size(kNetworkSide, kNetworkSide));
        double low = 0.0;
        double high = 0.0;
        cv::minMaxLoc(image, &low, &high);
        EXPECT_GE(low, 16.0);
        EXPECT_EQ(high, 235.0);
    }
}

TEST(PalmLuma, RefusesARecordWithoutAPalm) {
    const cv::Mat grey(kFrame, CV_8U, cv::Scalar(90));
    EXPECT_THROW(palmLuma(grey, PvaHandPose{}), std::logic_error);
}

TEST(DetectorLuma, IsTheLumaPlaneThatTheLibraryHandsTheDetector) {
    const cv::Mat frame = render(palm(), goodCapture(), kFrame).luma;
    const cv::Mat luma = detectorLuma(frame);
    const auto handed =
        detectorFrame(frame.data, {kFrame.width, kFrame.height}, {kNetworkSide, kNetworkSide});
    ASSERT_EQ(luma.size(), cv::Size(kNetworkSide, kNetworkSide));
    EXPECT_EQ(std::memcmp(luma.data, handed.data(), luma.total()), 0);
}

TEST(FrameSizes, OfCamerasAreTheCommonOnes) {
    Random random{kSeed};
    std::set<std::pair<int, int>> sizes;
    for (int i = 0; i < 400; ++i) {
        const cv::Size size = cameraSize(random);
        sizes.insert({size.width, size.height});
    }
    const std::set<std::pair<int, int>> all{{640, 480}, {480, 640}, {320, 240},
                                            {240, 320}, {480, 480}, {1280, 800}};
    EXPECT_EQ(sizes, all);
}

TEST(FrameSizes, ForDetectorsReachDownToTinyFrames) {
    Random random{kSeed};
    int least = 1280;
    for (int i = 0; i < 400; ++i) {
        const cv::Size size = anySize(random);
        least = std::min({least, size.width, size.height});
    }
    EXPECT_GE(least, 90);
    EXPECT_LT(least, 100);
}

}  // namespace
}  // namespace brairu
