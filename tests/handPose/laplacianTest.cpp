#include "handPose/laplacian.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "handPose/qualityGate.h"
#include "support/seededRandom.h"

namespace brairu {
namespace {

using test::SeededRandom;

cv::Mat randomGrey(cv::Size size, SeededRandom& random) {
    cv::Mat grey(size, CV_8UC1);
    for (auto& pixel : cv::Mat_<std::uint8_t>(grey)) {
        pixel = random.byte();
    }
    return grey;
}

// Black and white in turn: every square is as large as it gets.
cv::Mat chessboard(cv::Size size) {
    cv::Mat grey(size, CV_8UC1);
    for (int y = 0; y < grey.rows; ++y) {
        for (int x = 0; x < grey.cols; ++x) {
            grey.at<std::uint8_t>(y, x) = (x + y) % 2 == 0 ? 0 : 255;
        }
    }
    return grey;
}

cv::Mat laplacianOf(const cv::Mat& grey) {
    cv::Mat laplacian;
    cv::Laplacian(grey, laplacian, CV_32F, 1, 1.0, 0.0, cv::BORDER_DEFAULT);
    return laplacian;
}

LaplacianSums sumsOfImage(const cv::Mat& grey) {
    LaplacianSums sums;
    for (const float value : cv::Mat_<float>(laplacianOf(grey))) {
        sums.values += static_cast<std::int64_t>(value);
        sums.squares += static_cast<std::int64_t>(value) * static_cast<std::int64_t>(value);
    }
    return sums;
}

float varianceOfImage(const cv::Mat& grey) {
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(laplacianOf(grey), mean, deviation);
    return static_cast<float>(deviation[0] * deviation[0]);
}

void expectSumsOfTheImage(const cv::Mat& grey) {
    const LaplacianSums sums = sumLaplacian(grey);
    const LaplacianSums expected = sumsOfImage(grey);
    EXPECT_EQ(sums.values, expected.values) << grey.size();
    EXPECT_EQ(sums.squares, expected.squares) << grey.size();
}

TEST(SumLaplacian, IsThatOfTheImageForEverySmallSize) {
    SeededRandom random;
    for (int height = 1; height <= 20; ++height) {
        for (int width = 1; width <= 40; ++width) {
            expectSumsOfTheImage(randomGrey({width, height}, random));
        }
    }
}

TEST(SumLaplacian, IsThatOfTheImageForAPartWhosePixelsAroundItDoNotCount) {
    SeededRandom random;
    const cv::Mat image = randomGrey({80, 60}, random);
    const cv::Mat part = image(cv::Rect(11, 7, 33, 21));
    const LaplacianSums sums = sumLaplacian(part);
    const LaplacianSums expected = sumsOfImage(part.clone());
    EXPECT_EQ(sums.values, expected.values);
    EXPECT_EQ(sums.squares, expected.squares);
}

TEST(SumLaplacian, HoldsTheLargestSquaresOfTheWidestRows) {
    for (const int width : {4095, 4096, 4097, 4098, 4099, 8193, 8194, 8195, 20'000}) {
        expectSumsOfTheImage(chessboard({width, 3}));
    }
    EXPECT_EQ(sumLaplacian(chessboard({20'000, 2})).squares, 40'000LL * 1020 * 1020);
}

// Sums of images of this size are exact in every step up to the root.
TEST(MeasureSharpness, IsTheSameNumberAsByWayOfAnImage) {
    SeededRandom random;
    for (int i = 0; i < 200; ++i) {
        cv::Mat grey = randomGrey({128, 128}, random);
        cv::GaussianBlur(grey, grey, {0, 0}, 0.3 + 0.02 * i);
        ASSERT_EQ(measureSharpness(grey), varianceOfImage(grey)) << i;
    }
    EXPECT_EQ(measureSharpness(chessboard({128, 128})), varianceOfImage(chessboard({128, 128})));
}

TEST(MeasureSharpness, IsAsByWayOfAnImageInOtherSizes) {
    SeededRandom random;
    for (int i = 0; i < 100; ++i) {
        const cv::Mat grey = randomGrey({random.between(1, 150), random.between(1, 150)}, random);
        ASSERT_FLOAT_EQ(measureSharpness(grey), varianceOfImage(grey)) << grey.size();
    }
}

TEST(MeasureSharpness, OfAPartIgnoresThePixelsAroundIt) {
    SeededRandom random;
    const cv::Mat image = randomGrey({160, 160}, random);
    const cv::Mat part = image(cv::Rect(9, 13, 128, 128));
    EXPECT_EQ(measureSharpness(part), varianceOfImage(part.clone()));
}

}  // namespace
}  // namespace brairu
