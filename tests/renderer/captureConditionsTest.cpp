
#include "renderer/captureConditions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "renderer/camera.h"

namespace brairu {
namespace {

constexpr std::uint64_t kSeed = 11;
constexpr int kCameras = 300;

TEST(CameraLookTest, IsTheSameWhenAskedForAgain) {
    const CameraLook first = lookOf(kSeed, 5);
    const CameraLook second = lookOf(kSeed, 5);
    EXPECT_EQ(first.creases, second.creases);
    EXPECT_EQ(first.veins, second.veins);
    EXPECT_EQ(first.light, second.light);
    EXPECT_NE(first.creases, lookOf(kSeed, 6).creases);
}

TEST(CameraLookTest, ReachesFromCreasesAloneToVeinsAlone) {
    int creasesRule = 0;
    int veinsRule = 0;
    for (int camera = 0; camera < kCameras; ++camera) {
        const CameraLook look = lookOf(kSeed, camera);
        creasesRule += look.creases > 4.0f * look.veins ? 1 : 0;
        veinsRule += look.veins > 4.0f * look.creases ? 1 : 0;
    }
    EXPECT_GT(creasesRule, kCameras / 20);
    EXPECT_GT(veinsRule, kCameras / 20);
    EXPECT_LT(creasesRule + veinsRule, kCameras / 2);
}

TEST(CameraLookTest, EveryCameraShowsSomethingOfThePalm) {
    for (int camera = 0; camera < kCameras; ++camera) {
        const CameraLook look = lookOf(kSeed, camera);
        EXPECT_GT(std::max(look.creases, look.veins), 0.05f) << camera;
    }
}

TEST(CaptureConditionsTest, ContrastsFollowTheCamera) {
    const PalmIdentity palm = identityOf(kSeed, 0, Hand::left);
    CameraLook look = usualLook();
    look.veins = 0.0f;
    const CaptureConditions conditions = captureOf(kSeed, palm, 3, Scenario::enrolment, look);
    const CaptureConditions usual = captureOf(kSeed, palm, 3, Scenario::enrolment);
    EXPECT_EQ(conditions.veinContrast, 0.0f);
    EXPECT_GT(usual.veinContrast, 0.0f);
    EXPECT_EQ(conditions.creaseContrast, usual.creaseContrast);
}

TEST(CaptureConditionsTest, TheLampStandsStillWhicheverHandComesAndHoweverItIsTurned) {
    const cv::Size kFrame(640, 480);
    CameraLook look = usualLook();
    look.light = {0.5f, 0.3f};
    for (const Hand hand : {Hand::left, Hand::right}) {
        const PalmIdentity palm = identityOf(kSeed, 0, hand);
        for (int capture = 0; capture < 8; ++capture) {
            CaptureConditions lit = captureOf(kSeed, palm, capture, Scenario::anywhere, look);
            const CaptureConditions even = captureOf(kSeed, palm, capture, Scenario::anywhere);
            lit.tiltAcross = lit.tiltAlong = lit.stretch = lit.lensBend = 0.0f;
            const Camera camera(lit, hand, kFrame);
            const cv::Point2f towardsLamp =
                (camera.toFrame(lit.middle + lit.lightSlope - even.lightSlope) -
                 camera.toFrame(lit.middle)) /
                camera.scale();
            EXPECT_NEAR(towardsLamp.x, 0.5f, 1e-3f);
            EXPECT_NEAR(towardsLamp.y, -0.3f, 1e-3f);
        }
    }
}

TEST(CaptureConditionsTest, AGuidedHandTakesThePostureThatTheCameraAsksFor) {
    const PalmIdentity palm = identityOf(kSeed, 0, Hand::left);
    CameraLook look = usualLook();
    look.guidance = 1.0f;
    look.turn = 12.0f;
    look.thumb = -0.2f;
    for (int capture = 0; capture < 5; ++capture) {
        const CaptureConditions conditions = captureOf(kSeed, palm, capture, Scenario::hard, look);
        EXPECT_FLOAT_EQ(conditions.turn, 12.0f);
        EXPECT_FLOAT_EQ(conditions.fingerTurn[4], -0.2f);
    }
}

// Angle between the directions of index and little finger as a capture holds them.
float fanOf(const PalmIdentity& palm, const CaptureConditions& conditions) {
    const auto& fingers = palm.shape.fingers;
    return fingers[3].splay + conditions.fingerTurn[3] - fingers[0].splay -
           conditions.fingerTurn[0];
}

TEST(CaptureConditionsTest, FingersAreSometimesClosedAndSometimesSpread) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    int closed = 0;
    int spread = 0;
    for (int capture = 0; capture < 300; ++capture) {
        const float fan = fanOf(palm, captureOf(kSeed, palm, capture, Scenario::anywhere));
        closed += fan < 0.06f ? 1 : 0;
        spread += fan > 0.5f ? 1 : 0;
    }
    EXPECT_GT(closed, 30);
    EXPECT_GT(spread, 30);
}

TEST(CaptureConditionsTest, AHandAnywhereIsTurnedToEverySide) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::right);
    int quarters[4] = {};
    for (int capture = 0; capture < 300; ++capture) {
        const float turn = captureOf(kSeed, palm, capture, Scenario::anywhere).turn;
        ++quarters[static_cast<int>(std::floor((turn + 45.0f + 360.0f) / 90.0f)) % 4];
    }
    for (const int count : quarters) {
        EXPECT_GT(count, 10);
    }
}

}  // namespace
}  // namespace brairu
