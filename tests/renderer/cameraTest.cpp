#include "renderer/camera.h"

#include <gtest/gtest.h>

#include <cmath>

namespace brairu {
namespace {

const cv::Size kFrame{640, 480};

CaptureConditions seenFromAbove(float lensBend) {
    CaptureConditions conditions{};
    conditions.palmWidth = 0.4f;
    conditions.place = {0.5f, 0.5f};
    conditions.distance = 5.0f;
    conditions.lensBend = lensBend;
    return conditions;
}

TEST(CameraTest, LeadsFromTheFrameToThePalmAndBack) {
    for (const float lensBend : {-0.09f, 0.0f, 0.09f}) {
        CaptureConditions conditions = seenFromAbove(lensBend);
        conditions.turn = 35.0f;
        conditions.tiltAcross = 20.0f;
        conditions.stretch = 0.01f;
        const Camera camera(conditions, Hand::left, kFrame);
        for (const cv::Point2f point :
             {cv::Point2f(320.0f, 240.0f), {60.0f, 50.0f}, {600.0f, 300.0f}, {200.0f, 440.0f}}) {
            const cv::Point2f back = camera.toFrame(camera.toPalm(point));
            EXPECT_LT(std::hypot(back.x - point.x, back.y - point.y), 0.5f) << lensBend << point;
        }
    }
}

TEST(CameraTest, TheLensMovesTheCornersAndNotTheMiddle) {
    const Camera straight(seenFromAbove(0.0f), Hand::left, kFrame);
    const Camera barrel(seenFromAbove(0.09f), Hand::left, kFrame);
    const cv::Point2f middle(320.0f, 240.0f);
    const cv::Point2f corner(30.0f, 30.0f);
    EXPECT_EQ(straight.toPalm(middle), barrel.toPalm(middle));
    const cv::Point2f from = straight.toPalm(corner);
    const cv::Point2f to = barrel.toPalm(corner);
    EXPECT_GT(std::hypot(to.x, to.y), 1.05f * std::hypot(from.x, from.y));
}

TEST(CameraTest, AWindowHoldsAllOfTheFrameThatShowsAnArea) {
    CaptureConditions conditions = seenFromAbove(0.06f);
    conditions.turn = 25.0f;
    conditions.tiltAlong = 18.0f;
    conditions.stretch = 0.016f;
    const Camera camera(conditions, Hand::right, kFrame);
    const cv::Rect2f area(-0.6f, -0.9f, 1.1f, 0.8f);
    const cv::Rect window = camera.windowOn(area);
    EXPECT_LT(window.area(), kFrame.area() / 2);
    for (int y = 0; y < kFrame.height; y += 3) {
        for (int x = 0; x < kFrame.width; x += 3) {
            const cv::Point2f pixel(static_cast<float>(x), static_cast<float>(y));
            EXPECT_TRUE(!area.contains(camera.toPalm(pixel)) || window.contains(pixel)) << pixel;
        }
    }
}

TEST(CameraTest, AWindowOnWhatReachesBehindTheCameraIsTheWholeFrame) {
    for (const float tilt : {-28.0f, 28.0f}) {
        CaptureConditions conditions = seenFromAbove(0.0f);
        conditions.tiltAlong = tilt;
        conditions.distance = 3.0f;
        const Camera camera(conditions, Hand::left, kFrame);
        const cv::Rect2f behindTheCamera(-1.0f, tilt < 0.0f ? -14.0f : 0.0f, 2.0f, 14.0f);
        EXPECT_EQ(camera.windowOn(behindTheCamera), cv::Rect({}, kFrame));
    }
}

TEST(CameraTest, TheVisibleAreaHoldsWhatEveryPixelShows) {
    for (const float lensBend : {-0.09f, 0.09f}) {
        CaptureConditions conditions = seenFromAbove(lensBend);
        conditions.palmWidth = 0.11f;
        conditions.distance = 3.0f;
        conditions.tiltAcross = 28.0f;
        const Camera camera(conditions, Hand::left, kFrame);
        const cv::Rect2f area = camera.visibleArea();
        for (int y = 0; y < kFrame.height; y += 4) {
            for (int x = 0; x < kFrame.width; x += 4) {
                const cv::Point2f palm =
                    camera.toPalm({static_cast<float>(x), static_cast<float>(y)});
                EXPECT_TRUE(std::abs(palm.x) > 1000.0f || area.contains(palm)) << palm;
            }
        }
    }
}

TEST(CameraTest, KeyPointsOfAHugeFrameAreThoseOfASmallOne) {
    CaptureConditions conditions = seenFromAbove(0.05f);
    conditions.place = {0.9f, 0.9f};
    const Camera small(conditions, Hand::left, {1600, 1200});
    const Camera huge(conditions, Hand::left, {16000, 12000});
    const cv::Point2f palm(0.4f, -0.7f);
    EXPECT_LT(cv::norm(huge.toFrame(palm) - small.toFrame(palm) * 10.0f), 1.0);
}

TEST(CameraTest, AWindowOnWhatLiesBesideTheFrameIsEmpty) {
    const Camera camera(seenFromAbove(0.0f), Hand::left, kFrame);
    EXPECT_TRUE(camera.windowOn({4.0f, 0.0f, 1.0f, 1.0f}).empty());
}

}  // namespace
}  // namespace brairu
