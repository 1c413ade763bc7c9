#include "handPose/lumaFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "support/seededRandom.h"

namespace brairu {
namespace {

using test::SeededRandom;
using Bytes = std::vector<std::uint8_t>;

Bytes randomPlane(FrameSize frame, SeededRandom& random) {
    Bytes plane(static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height));
    for (std::uint8_t& pixel : plane) {
        pixel = random.byte();
    }
    return plane;
}

// Nearest neighbour, pixel by pixel.
Bytes plainDetectorFrame(const Bytes& plane, FrameSize frame, FrameSize input) {
    Bytes scaled;
    for (int y = 0; y < input.height; ++y) {
        for (int x = 0; x < input.width; ++x) {
            const int column = x * frame.width / input.width;
            const int row = y * frame.height / input.height;
            scaled.push_back(plane[static_cast<std::size_t>(row * frame.width + column)]);
        }
    }
    scaled.resize(static_cast<std::size_t>(input.width * input.height * 3 / 2), 128);
    return scaled;
}

TEST(DetectorFrame, TakesAFrameOfTheInputsSizeAsItIs) {
    const Bytes plane{1, 2, 3, 4, 5, 6, 7, 8};
    const Bytes frame = detectorFrame(plane.data(), {4, 2}, {4, 2});
    EXPECT_EQ(frame, (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 128, 128, 128, 128}));
}

TEST(DetectorFrame, ScalesByNearestNeighbourTruncating) {
    const Bytes plane{10, 20, 30, 40, 50, 60};
    EXPECT_EQ(detectorFrame(plane.data(), {3, 2}, {2, 1}), (Bytes{10, 20, 128}));
    EXPECT_EQ(detectorFrame(plane.data(), {3, 2}, {4, 2}),
              (Bytes{10, 10, 20, 30, 40, 40, 50, 60, 128, 128, 128, 128}));
}

TEST(DetectorFrame, SpreadsASinglePixel) {
    const Bytes plane{77};
    Bytes expected(18, 77);
    std::fill(expected.begin() + 12, expected.end(), std::uint8_t{128});
    EXPECT_EQ(detectorFrame(plane.data(), {1, 1}, {4, 3}), expected);
}

TEST(DetectorFrame, IsNeutralBehindTheLumaForOddSizes) {
    const Bytes plane(15, 9);
    const Bytes frame = detectorFrame(plane.data(), {5, 3}, {5, 3});
    ASSERT_EQ(frame.size(), 22u);
    EXPECT_EQ(Bytes(frame.begin(), frame.begin() + 15), Bytes(15, 9));
    EXPECT_EQ(Bytes(frame.begin() + 15, frame.end()), Bytes(7, 128));
}

TEST(DetectorFrame, AgreesWithAPlainLoop) {
    SeededRandom random;
    for (int i = 0; i < 200; ++i) {
        const FrameSize frame{random.between(1, 90), random.between(1, 70)};
        const FrameSize input{random.between(1, 70), random.between(1, 50)};
        const Bytes plane = randomPlane(frame, random);
        ASSERT_EQ(detectorFrame(plane.data(), frame, input),
                  plainDetectorFrame(plane, frame, input))
            << frame.width << " x " << frame.height << " to " << input.width << " x "
            << input.height;
    }
}

TEST(DetectorFrame, ScalesACameraFrameToTheUsualInput) {
    SeededRandom random;
    const FrameSize frame{640, 480};
    const Bytes plane = randomPlane(frame, random);
    EXPECT_EQ(detectorFrame(plane.data(), frame, {128, 128}),
              plainDetectorFrame(plane, frame, {128, 128}));
}

TEST(DetectorFrame, LeavesTheImageAlone) {
    SeededRandom random;
    const Bytes plane = randomPlane({64, 48}, random);
    const Bytes before = plane;
    detectorFrame(plane.data(), {64, 48}, {128, 128});
    EXPECT_EQ(plane, before);
}

// By way of three equal channels.
cv::Mat convertedFrame(const cv::Mat& grey) {
    cv::Mat colour;
    cv::cvtColor(grey, colour, cv::COLOR_GRAY2BGR);
    cv::Mat frame;
    cv::cvtColor(colour, frame, cv::COLOR_BGR2YUV_I420);
    return frame;
}

bool areEqual(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

cv::Mat randomGrey(cv::Size size, SeededRandom& random) {
    cv::Mat grey(size, CV_8UC1);
    for (auto& pixel : cv::Mat_<std::uint8_t>(grey)) {
        pixel = random.byte();
    }
    return grey;
}

TEST(FeatureFrame, IsWhatColourConversionMakesOfEveryGrey) {
    cv::Mat greys(2, 256, CV_8UC1);
    for (int grey = 0; grey < 256; ++grey) {
        greys.col(grey).setTo(grey);
    }
    EXPECT_TRUE(areEqual(featureFrame(greys), convertedFrame(greys)));
}

TEST(FeatureFrame, IsWhatColourConversionMakesOfImagesAndPartsOfThem) {
    SeededRandom random;
    for (int i = 0; i < 100; ++i) {
        const cv::Size size(2 * random.between(1, 70), 2 * random.between(1, 70));
        const cv::Mat image = randomGrey(size + cv::Size(3, 2), random);
        const cv::Mat part = image(cv::Rect({3, 1}, size));
        ASSERT_TRUE(areEqual(featureFrame(part), convertedFrame(part))) << size;
    }
}

TEST(FeatureFrame, UsesTheMemoryOfAFrameOfItsSizeOnly) {
    SeededRandom random;
    const cv::Mat grey = randomGrey({128, 128}, random);
    const cv::Mat frame = featureFrame(randomGrey({128, 128}, random));
    const cv::Mat next = featureFrame(grey, frame);
    EXPECT_EQ(next.data, frame.data);
    EXPECT_TRUE(areEqual(next, convertedFrame(grey)));
    const cv::Mat smaller = featureFrame(grey(cv::Rect(0, 0, 64, 64)), frame);
    EXPECT_NE(smaller.data, frame.data);
    EXPECT_TRUE(areEqual(smaller, convertedFrame(grey(cv::Rect(0, 0, 64, 64)))));
    EXPECT_TRUE(areEqual(frame, convertedFrame(grey))) << "was not touched again";
}

TEST(FeatureFrame, IsPlanarWithHalfAsMuchChroma) {
    const cv::Mat frame = featureFrame(cv::Mat(128, 128, CV_8UC1, cv::Scalar(100)));
    EXPECT_EQ(frame.total(), 24'576u);
    EXPECT_TRUE(frame.isContinuous());
    EXPECT_EQ(frame.type(), CV_8UC1);
}

TEST(FeatureFrame, TurnsEveryGreyIntoBroadcastLumaAndNeutralChroma) {
    cv::Mat greys(2, 256, CV_8UC1);
    for (int grey = 0; grey < 256; ++grey) {
        greys.col(grey).setTo(grey);
    }
    const cv::Mat frame = featureFrame(greys);
    ASSERT_EQ(frame.rows, 3);
    for (int grey = 0; grey < 256; ++grey) {
        ASSERT_NEAR(frame.at<std::uint8_t>(0, grey), 16 + 0.859 * grey, 0.6) << grey;
        ASSERT_EQ(frame.at<std::uint8_t>(2, grey), 128) << grey;
    }
    EXPECT_EQ(frame.at<std::uint8_t>(0, 0), 16);
    EXPECT_EQ(frame.at<std::uint8_t>(0, 255), 235);
}

TEST(FeatureFrame, TakesPartsOfLargerImages) {
    cv::Mat image(40, 40, CV_8UC1, cv::Scalar(0));
    image(cv::Rect(10, 10, 8, 8)).setTo(255);
    const cv::Mat frame = featureFrame(image(cv::Rect(10, 10, 8, 8)));
    ASSERT_EQ(frame.total(), 96u);
    EXPECT_EQ(cv::countNonZero(frame.rowRange(0, 8) == 235), 64);
}

}  // namespace
}  // namespace brairu
