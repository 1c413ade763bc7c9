#include "handPose/palmRegion.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

#include "support/seededRandom.h"

namespace brairu {
namespace {

using test::SeededRandom;

constexpr FrameSize kFeatureInput{128, 128};
const cv::Size kCrop(192, 192);

cv::Mat noise(SeededRandom& random, int width, int height) {
    cv::Mat image(height, width, CV_8UC1);
    for (auto& pixel : cv::Mat_<std::uint8_t>(image)) {
        pixel = static_cast<std::uint8_t>(random.between(1, 255));
    }
    return image;
}

// A hand box with the bases of index and little finger level, index left: no turn after the bias.
PvaHandPose levelHand(int centreX, int centreY, int width, int height) {
    PvaHandPose pose{};
    pose.centerX = static_cast<std::uint16_t>(centreX);
    pose.centerY = static_cast<std::uint16_t>(centreY);
    pose.width = static_cast<std::uint16_t>(width);
    pose.height = static_cast<std::uint16_t>(height);
    for (PvaPoint& point : pose.keyPoints) {
        point = {pose.centerX, pose.centerY};
    }
    // 10 degrees down to the right, which the bias takes away.
    pose.keyPoints[2] = {static_cast<std::uint16_t>(centreX - 28),
                         static_cast<std::uint16_t>(centreY - 5)};
    pose.keyPoints[5] = {static_cast<std::uint16_t>(centreX + 28),
                         static_cast<std::uint16_t>(centreY + 5)};
    return pose;
}

bool areEqual(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

// ---- The centre

TEST(MoveCentreToPalm, RisesByATenthAndMovesAwayFromTheIndexFinger) {
    PvaHandPose pose = levelHand(300, 200, 100, 100);
    moveCentreToPalm(pose, kFeatureInput);
    EXPECT_EQ(pose.centerY, 188) << "12.8 is cut";
    EXPECT_EQ(pose.centerX, 275) << "the index finger is left: 25.6 to the left";
    std::swap(pose.keyPoints[2], pose.keyPoints[5]);
    moveCentreToPalm(pose, kFeatureInput);
    EXPECT_EQ(pose.centerX, 300) << "and back to the right";
    EXPECT_EQ(pose.centerY, 176);
}

TEST(MoveCentreToPalm, GoesLeftForBasesAtOneX) {
    PvaHandPose pose = levelHand(300, 200, 100, 100);
    pose.keyPoints[2].x = pose.keyPoints[5].x;
    moveCentreToPalm(pose, kFeatureInput);
    EXPECT_EQ(pose.centerX, 275);
}

TEST(MoveCentreToPalm, FollowsTheSizeOfTheFeatureInput) {
    PvaHandPose pose = levelHand(300, 200, 100, 100);
    moveCentreToPalm(pose, {64, 200});
    EXPECT_EQ(pose.centerX, 288);
    EXPECT_EQ(pose.centerY, 180);
}

TEST(MoveCentreToPalm, KeepsTheLowSixteenBits) {
    PvaHandPose pose = levelHand(100, 100, 100, 100);
    pose.centerX = 5;
    pose.centerY = 5;
    moveCentreToPalm(pose, kFeatureInput);
    EXPECT_EQ(pose.centerX, 65'536 - 20);
    EXPECT_EQ(pose.centerY, 65'536 - 7);
}

// ---- The crop

TEST(CropRectangle, IsAFifthLargerThanTheBox) {
    EXPECT_EQ(cropRectangle(levelHand(300, 200, 100, 50)), cv::Rect(240, 170, 120, 60));
    EXPECT_EQ(cropRectangle(levelHand(300, 200, 101, 53)), cv::Rect(240, 169, 121, 63));
}

TEST(CropRectangle, MayLeaveTheFrame) {
    EXPECT_EQ(cropRectangle(levelHand(10, 5, 100, 50)), cv::Rect(-50, -25, 120, 60));
}

TEST(CropRectangle, MultipliesInSinglePrecision) {
    PvaHandPose pose{};
    for (int width = 0; width < 65'536; ++width) {
        pose.width = static_cast<std::uint16_t>(width);
        const volatile float product = static_cast<float>(width) * 1.2f;
        ASSERT_EQ(cropRectangle(pose).width, static_cast<int>(product));
    }
}

TEST(CropSize, IsOneAndAHalfTheInput) {
    EXPECT_EQ(cropSize(kFeatureInput), kCrop);
    EXPECT_EQ(cropSize({64, 130}), cv::Size(96, 195));
    EXPECT_EQ(cropSize({3, 5}), cv::Size(4, 7));
}

TEST(KeyPointsInCrop, AreScaledFromTheRectangle) {
    PvaHandPose pose{};
    pose.keyPoints[0] = {110, 220};
    pose.keyPoints[6] = {159, 239};
    const auto points = keyPointsInCrop(pose, {100, 200, 60, 40}, kCrop);
    ASSERT_EQ(points.size(), 7u);
    EXPECT_EQ(points[0], cv::Point(32, 96));
    EXPECT_EQ(points[6], cv::Point(188, 187)) << "188.8 and 187.2 are cut";
}

TEST(KeyPointsInCrop, AreZeroLeftOfAndAboveTheRectangle) {
    PvaHandPose pose{};
    pose.keyPoints[3] = {90, 100};
    EXPECT_EQ(keyPointsInCrop(pose, {100, 200, 60, 40}, kCrop)[3], cv::Point(0, 0));
}

TEST(KeyPointsInCrop, KeepTheirLowSixteenBits) {
    PvaHandPose pose{};
    pose.keyPoints[3] = {1000, 0};
    EXPECT_EQ(keyPointsInCrop(pose, {0, 0, 1, 1}, kCrop)[3].x, 192'000 % 65'536);
}

// ---- The turn

std::vector<cv::Point> basesAlong(cv::Point way) {
    std::vector<cv::Point> points(7, cv::Point(50, 50));
    points[2] = {60, 60};
    points[5] = points[2] + way;
    return points;
}

TEST(UprightAngle, HasABiasOfTenDegrees) {
    EXPECT_FLOAT_EQ(uprightAngle(basesAlong({30, 0}), 0), -10.0f);
    EXPECT_FLOAT_EQ(uprightAngle(basesAlong({-30, 0}), 1), 10.0f);
    EXPECT_FLOAT_EQ(uprightAngle(basesAlong({20, 20}), 0), 35.0f);
    EXPECT_FLOAT_EQ(uprightAngle(basesAlong({-20, -20}), 1), 55.0f);
}

TEST(UprightAngle, OfEqualBasesIsTheBias) {
    EXPECT_EQ(uprightAngle(basesAlong({0, 0}), 0), -10.0f);
    EXPECT_EQ(uprightAngle(basesAlong({0, 0}), 1), 10.0f);
}

TEST(RotatedUpright, LeavesSmallTurnsAlone) {
    SeededRandom random;
    const cv::Mat crop = noise(random, 64, 48);
    for (const float angle : {0.0f, 9.9f, -9.9f, std::nextafter(10.0f, 0.0f)}) {
        EXPECT_TRUE(areEqual(rotatedUpright(crop, angle), crop)) << angle;
    }
}

TEST(RotatedUpright, TurnsFromTenDegreesOn) {
    SeededRandom random;
    const cv::Mat crop = noise(random, 64, 48);
    for (const float angle : {10.0f, -10.0f, 90.0f, -180.0f}) {
        const cv::Mat upright = rotatedUpright(crop, angle);
        EXPECT_FALSE(areEqual(upright, crop)) << angle;
        EXPECT_EQ(upright.size(), crop.size());
    }
}

TEST(RotatedUpright, TurnsAgainstTheClockAboutTheMiddleOfTheCrop) {
    cv::Mat crop = cv::Mat::zeros(101, 101, CV_8UC1);
    crop.at<std::uint8_t>(50, 80) = 200;
    EXPECT_EQ(rotatedUpright(crop, 90.0f).at<std::uint8_t>(20, 50), 200) << "from right to top";
    EXPECT_EQ(rotatedUpright(crop, -90.0f).at<std::uint8_t>(80, 50), 200) << "from right to bottom";
    EXPECT_EQ(rotatedUpright(crop, 180.0f).at<std::uint8_t>(50, 20), 200);
}

TEST(RotatedUpright, IsBlackWhereNothingCameFrom) {
    const cv::Mat upright = rotatedUpright(cv::Mat(100, 100, CV_8UC1, cv::Scalar(255)), 45.0f);
    EXPECT_EQ(upright.at<std::uint8_t>(0, 0), 0);
    EXPECT_EQ(upright.at<std::uint8_t>(99, 99), 0);
    EXPECT_EQ(upright.at<std::uint8_t>(50, 50), 255);
}

// ---- The whole

TEST(ExtractPalm, MakesThreeImagesOfTheInputsSize) {
    SeededRandom random;
    PvaHandPose pose = levelHand(320, 240, 150, 180);
    PalmImages images;
    EXPECT_EQ(extractPalm(noise(random, 640, 480), {64, 96}, pose, images), 0u);
    for (const cv::Mat& image : {images.regionA, images.regionB, images.whole}) {
        EXPECT_EQ(image.size(), cv::Size(64, 96));
        EXPECT_EQ(image.type(), CV_8UC1);
    }
}

TEST(ExtractPalm, MovesTheCentreOfTheRecordAndNothingElse) {
    SeededRandom random;
    PvaHandPose pose = levelHand(320, 240, 150, 180);
    const PvaHandPose before = pose;
    PalmImages images;
    extractPalm(noise(random, 640, 480), kFeatureInput, pose, images);
    EXPECT_EQ(pose.centerX, before.centerX - 25);
    EXPECT_EQ(pose.centerY, before.centerY - 12);
    EXPECT_EQ(pose.width, before.width);
    EXPECT_EQ(pose.height, before.height);
    EXPECT_EQ(pose.keyPoints[2].x, before.keyPoints[2].x);
    EXPECT_EQ(pose.placementCode, before.placementCode);
}

TEST(ExtractPalm, LeavesTheFrameAlone) {
    SeededRandom random;
    const cv::Mat frame = noise(random, 640, 480);
    const cv::Mat before = frame.clone();
    for (const int x : {20, 320, 620}) {
        PvaHandPose pose = levelHand(x, 240, 150, 180);
        PalmImages images;
        extractPalm(frame, kFeatureInput, pose, images);
        EXPECT_TRUE(areEqual(frame, before)) << x;
    }
}

// A crop of exactly 192 x 192 around the middle of the frame is scaled by nothing.
TEST(ExtractPalm, CutsTheRegionsFromTheMiddleOfTheCrop) {
    SeededRandom random;
    const cv::Mat frame = noise(random, 640, 480);
    PvaHandPose pose = levelHand(320, 240, 160, 160);
    PalmImages images;
    ASSERT_EQ(extractPalm(frame, kFeatureInput, pose, images), 0u);
    const cv::Mat crop = frame(cv::Rect(295 - 96, 228 - 96, 192, 192));
    const auto scaled = [](const cv::Mat& image) {
        cv::Mat result;
        cv::resize(image, result, cv::Size(128, 128), 0, 0, cv::INTER_LINEAR);
        return result;
    };
    EXPECT_TRUE(areEqual(images.whole, scaled(crop)));
    EXPECT_TRUE(areEqual(images.regionA, scaled(crop(cv::Rect(24, 24, 144, 144)))));
    EXPECT_TRUE(areEqual(images.regionB, scaled(crop(cv::Rect(39, 39, 115, 115)))));
}

TEST(ExtractPalm, IsBlackWhereTheCropLeavesTheFrame) {
    const cv::Mat frame(480, 640, CV_8UC1, cv::Scalar(255));
    PvaHandPose pose = levelHand(25, 12, 160, 160);  // moved to the corner of the frame
    pose.keyPoints[2] = {2, 2};
    pose.keyPoints[5] = {58, 12};
    PalmImages images;
    ASSERT_EQ(extractPalm(frame, kFeatureInput, pose, images), 0u);
    EXPECT_EQ(cv::countNonZero(images.whole(cv::Rect(0, 0, 128, 63))), 0);
    EXPECT_EQ(cv::countNonZero(images.whole(cv::Rect(0, 0, 63, 128))), 0);
    EXPECT_EQ(cv::countNonZero(images.whole(cv::Rect(65, 65, 63, 63)) == 255), 63 * 63);
}

TEST(ExtractPalm, IsBlackWhenTheCropMissesTheFrame) {
    const cv::Mat frame(480, 640, CV_8UC1, cv::Scalar(255));
    PvaHandPose pose = levelHand(2000, 2000, 160, 160);
    PalmImages images;
    ASSERT_EQ(extractPalm(frame, kFeatureInput, pose, images), 0u);
    EXPECT_EQ(cv::countNonZero(images.whole), 0);
    EXPECT_EQ(cv::countNonZero(images.regionB), 0);
}

// Of this process so far.
long mostMegabytes() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

TEST(ExtractPalm, CutsTheLargestBoxOfARecordInLittleMemory) {
    if constexpr (sizeof(void*) < 8) {
        GTEST_SKIP() << "no room for a canvas of 78642 x 78642";
    }
    SeededRandom random;
    const cv::Mat frame = noise(random, 640, 480);
    PvaHandPose pose = levelHand(320, 240, 65535, 65535);
    PalmImages images;
    const long before = mostMegabytes();
    EXPECT_EQ(extractPalm(frame, kFeatureInput, pose, images), PVA_PLACEMENT_GOOD);
    EXPECT_LT(mostMegabytes(), before + 256);
    EXPECT_GT(cv::countNonZero(images.whole), 0) << "the frame is a few pixels of the crop";
    EXPECT_LT(cv::countNonZero(images.whole), 16);
}

TEST(ExtractPalm, ScalesTheWholeCutAlsoWhereItLeavesTheFrame) {
    SeededRandom random;
    const cv::Mat frame = noise(random, 160, 120);
    PvaHandPose pose = levelHand(100, 60, 1700, 900);
    PalmImages images;
    ASSERT_EQ(extractPalm(frame, kFeatureInput, pose, images), PVA_PLACEMENT_GOOD);
    const cv::Rect cut = cropRectangle(pose);
    cv::Mat whole = cv::Mat::zeros(cut.size(), CV_8UC1);
    frame.copyTo(whole(cv::Rect(-cut.x, -cut.y, frame.cols, frame.rows)));
    const float angle = uprightAngle(keyPointsInCrop(pose, cut, kCrop), pose.orientation);
    cv::Mat crop;
    cv::resize(whole, crop, kCrop, 0, 0, cv::INTER_LINEAR);
    cv::Mat expected;
    cv::resize(rotatedUpright(crop, angle), expected, {128, 128}, 0, 0, cv::INTER_LINEAR);
    EXPECT_TRUE(areEqual(images.whole, expected));
}

TEST(ExtractPalm, SurvivesAFrameOfOnePixel) {
    const cv::Mat frame(1, 1, CV_8UC1, cv::Scalar(255));
    PvaHandPose pose = levelHand(30, 20, 100, 100);
    PalmImages images;
    EXPECT_EQ(extractPalm(frame, kFeatureInput, pose, images), 0u);
}

TEST(ExtractPalm, CallsABoxWithoutAreaTooSmall) {
    SeededRandom random;
    const cv::Mat frame = noise(random, 640, 480);
    for (const cv::Size& size : {cv::Size(0, 100), cv::Size(100, 0), cv::Size(0, 0)}) {
        PvaHandPose pose = levelHand(320, 240, size.width, size.height);
        PalmImages images;
        EXPECT_EQ(extractPalm(frame, kFeatureInput, pose, images), 15u);
    }
}

TEST(ExtractPalm, StopsWhereTheRegionsLeaveNoMargin) {
    SeededRandom random;
    const cv::Mat frame = noise(random, 640, 480);
    const auto codeFor = [&](FrameSize featureInput) {
        PvaHandPose pose = levelHand(320, 240, 150, 180);
        PalmImages images;
        return extractPalm(frame, featureInput, pose, images);
    };
    EXPECT_EQ(codeFor({1, 128}), 1u);
    EXPECT_EQ(codeFor({128, 1}), 3u);
    EXPECT_EQ(codeFor({2, 128}), 1u);
    EXPECT_EQ(codeFor({128, 2}), 3u);
    EXPECT_EQ(codeFor({2, 2}), 1u) << "the left side first";
    EXPECT_EQ(codeFor({4, 4}), 0u);
}

TEST(ExtractPalm, CutsOddInputsToo) {
    SeededRandom random;
    const cv::Mat frame = noise(random, 640, 480);
    PvaHandPose pose = levelHand(320, 240, 150, 180);
    PalmImages images;
    EXPECT_EQ(extractPalm(frame, {127, 129}, pose, images), 0u);
    EXPECT_EQ(images.regionA.size(), cv::Size(127, 129));
}

TEST(ExtractPalm, RefusesInputsThatNothingCanBeScaledTo) {
    SeededRandom random;
    const cv::Mat frame = noise(random, 640, 480);
    for (const FrameSize input : {FrameSize{0, 128}, {128, 0}, {-2, 128}, {128, 4097}}) {
        PvaHandPose pose = levelHand(320, 240, 150, 180);
        PalmImages images;
        EXPECT_THROW(extractPalm(frame, input, pose, images), std::invalid_argument);
        EXPECT_EQ(pose.centerX, 320) << "nothing was moved";
    }
}

// ---- A plain second way: on a copy of the frame with a wide black border

struct PlainPalm {
    std::uint32_t code = 0;
    cv::Mat whole;
    cv::Mat regionA;
    cv::Mat regionB;
    float angle = 0.0f;
};

PlainPalm plainPalm(const cv::Mat& frame, int input, const PvaHandPose& pose) {
    constexpr int kBorder = 700;
    cv::Mat wide;
    cv::copyMakeBorder(frame, wide, kBorder, kBorder, kBorder, kBorder, cv::BORDER_CONSTANT, 0);
    const bool indexRight = pose.keyPoints[2].x > pose.keyPoints[5].x;
    const int centreX = pose.centerX + static_cast<int>(input * 0.2) * (indexRight ? 1 : -1);
    const int centreY = pose.centerY - static_cast<int>(input * 0.1);
    const int width = static_cast<int>(static_cast<float>(pose.width) * 1.2f);
    const int height = static_cast<int>(static_cast<float>(pose.height) * 1.2f);
    const int left = centreX - width / 2;
    const int top = centreY - height / 2;
    const int side = input * 3 / 2;
    cv::Mat crop;
    cv::resize(wide(cv::Rect(left + kBorder, top + kBorder, width, height)), crop, {side, side});

    const auto mapped = [&](int i) {
        const double x = (pose.keyPoints[i].x - left) * (double{1} * side / width);
        const double y = (pose.keyPoints[i].y - top) * (double{1} * side / height);
        return cv::Point(static_cast<int>(std::max(x, 0.0)), static_cast<int>(std::max(y, 0.0)));
    };
    const cv::Point way = pose.orientation == 1 ? mapped(2) - mapped(5) : mapped(5) - mapped(2);
    const auto length = static_cast<float>(std::sqrt(std::pow(way.x, 2) + std::pow(way.y, 2)));
    const float radians = way == cv::Point() ? 0.0f
                                             : std::atan2(static_cast<float>(way.y) / length,
                                                          static_cast<float>(way.x) / length);
    PlainPalm palm;
    palm.angle = static_cast<float>(double{radians} * 180 / CV_PI) +
                 (pose.orientation == 1 ? 10.0f : -10.0f);
    if (std::abs(palm.angle) >= 10) {
        const cv::Mat turn = cv::getRotationMatrix2D(
            cv::Point2f(static_cast<float>(side / 2), static_cast<float>(side / 2)), palm.angle,
            1.0);
        cv::Mat turned;
        cv::warpAffine(crop, turned, turn, {side, side});
        crop = turned;
    }
    const auto middle = [&](double share) {
        const int part = static_cast<int>(side * share);
        const int first = side / 2 - part / 2;
        cv::Mat result;
        cv::resize(crop(cv::Rect(first, first, part, part)), result, {input, input});
        return result;
    };
    palm.regionA = middle(0.75);
    palm.regionB = middle(0.6);
    palm.whole = middle(1.0);
    return palm;
}

TEST(ExtractPalm, AgreesWithAPlainSecondWay) {
    SeededRandom random;
    int turned = 0;
    for (int i = 0; i < 300; ++i) {
        const cv::Mat frame = noise(random, random.between(60, 400), random.between(60, 400));
        const int input = 2 * random.between(2, 80);
        PvaHandPose pose = levelHand(random.between(60, 400), random.between(60, 400),
                                     random.between(1, 300), random.between(1, 300));
        for (PvaPoint& point : pose.keyPoints) {
            point = {static_cast<std::uint16_t>(pose.centerX + random.between(-60, 60)),
                     static_cast<std::uint16_t>(pose.centerY + random.between(-60, 60))};
        }
        pose.orientation = static_cast<std::uint8_t>(random.between(0, 1));
        const PlainPalm expected = plainPalm(frame, input, pose);
        turned += std::abs(expected.angle) > 10 ? 1 : 0;
        PalmImages images;
        ASSERT_EQ(extractPalm(frame, {input, input}, pose, images), 0u);
        ASSERT_TRUE(areEqual(images.whole, expected.whole)) << "case " << i;
        ASSERT_TRUE(areEqual(images.regionA, expected.regionA)) << "case " << i;
        ASSERT_TRUE(areEqual(images.regionB, expected.regionB)) << "case " << i;
    }
    EXPECT_GT(turned, 100);
}

TEST(ExtractPalm, MakesTheSameImagesInTheMemoryOfThePalmBefore) {
    SeededRandom random;
    const cv::Mat frame = noise(random, 320, 240);
    PalmImages reused;
    for (int i = 0; i < 100; ++i) {
        // Turned and upright, inside of the frame and beyond it, of one size and of another.
        const int input = i % 10 == 9 ? 64 : 128;
        PvaHandPose pose = levelHand(random.between(60, 260), random.between(60, 180), 100, 100);
        pose.keyPoints[5].y = static_cast<std::uint16_t>(pose.keyPoints[5].y + 15 * (i % 3));
        const PlainPalm expected = plainPalm(frame, input, pose);
        ASSERT_EQ(extractPalm(frame, {input, input}, pose, reused), 0u);
        ASSERT_TRUE(areEqual(reused.whole, expected.whole)) << "case " << i;
        ASSERT_TRUE(areEqual(reused.regionA, expected.regionA)) << "case " << i;
        ASSERT_TRUE(areEqual(reused.regionB, expected.regionB)) << "case " << i;
    }
}

TEST(ExtractPalm, KeepsTheMemoryOfItsImages) {
    SeededRandom random;
    const cv::Mat frame = noise(random, 320, 240);
    PalmImages images;
    const auto memory = [&] {
        return std::vector<const std::uint8_t*>{images.regionA.data, images.regionB.data,
                                                images.whole.data, images.crop.data,
                                                images.rotated.data};
    };
    std::vector<const std::uint8_t*> first;
    for (const int slope : {0, 20, 0, 30}) {
        PvaHandPose pose = levelHand(160, 120, 100, 100);
        pose.keyPoints[5].y = static_cast<std::uint16_t>(pose.keyPoints[5].y + slope);
        ASSERT_EQ(extractPalm(frame, kFeatureInput, pose, images), 0u);
        first = first.empty() ? memory() : first;
        EXPECT_EQ(memory(), first) << slope;
    }
}

}  // namespace
}  // namespace brairu
