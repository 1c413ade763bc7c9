#include "renderer/palmRenderer.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>

#include "handPose/placement.h"
#include "handPose/poseDecoder.h"
#include "handPose/qualityGate.h"
#include "renderer/camera.h"

namespace brairu {
namespace {

constexpr std::uint64_t kSeed = 7;
const std::array<cv::Size, 3> kSizes{cv::Size(640, 480), cv::Size(480, 640), cv::Size(1280, 800)};
// The placement limits that ship with the library.
constexpr PlacementSettings kPlacement{0.125f, 0.105f, 0.305f, 0.705f, 0.455f, 0.755f};

bool sameBytes(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

// The record that a perfect detector makes of true key points.
PvaHandPose poseOf(const std::array<cv::Point2f, 7>& points) {
    PvaHandPose pose{};
    for (std::size_t i = 0; i < points.size(); ++i) {
        pose.keyPoints[i].x = static_cast<std::uint16_t>(std::max(0.0f, points[i].x));
        pose.keyPoints[i].y = static_cast<std::uint16_t>(std::max(0.0f, points[i].y));
    }
    encloseKeyPoints(pose);
    return pose;
}

// A flat hand, straight towards the camera, in the middle of the frame.
CaptureConditions plainCapture(const PalmIdentity& palm, float width, float turn) {
    CaptureConditions conditions = captureOf(kSeed, palm, 0, Scenario::enrolment);
    conditions.palmWidth = width;
    conditions.turn = turn;
    conditions.tiltAcross = 0.0f;
    conditions.tiltAlong = 0.0f;
    conditions.place = {0.5f, 0.5f};
    conditions.stretch = 0.0f;
    return conditions;
}

void expectAllUsable(const PalmIdentity& palm, float width, float turn) {
    const CaptureConditions conditions = plainCapture(palm, width, turn);
    PvaHandPose pose = poseOf(keyPointsIn(palm, conditions, {640, 480}));
    EXPECT_TRUE(judgeHand(pose, {640, 480})) << "width " << width << " turn " << turn;
    EXPECT_EQ(pose.orientation, palm.hand == Hand::left ? 0 : 1);
}

TEST(RenderTest, SameArgumentsGiveSameBytes) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    const CaptureConditions conditions = captureOf(kSeed, palm, 5, Scenario::hard);
    const RenderedFrame first = render(palm, conditions, {640, 480});
    const RenderedFrame second = render(palm, conditions, {640, 480});
    EXPECT_TRUE(sameBytes(first.luma, second.luma));
    EXPECT_EQ(first.keyPoints, second.keyPoints);
}

TEST(RenderTest, CapturesOfOnePalmDiffer) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    const auto draw = [&](int capture) {
        return render(palm, captureOf(kSeed, palm, capture, Scenario::enrolment), {640, 480});
    };
    const RenderedFrame first = draw(0);
    const RenderedFrame second = draw(1);
    EXPECT_FALSE(sameBytes(first.luma, second.luma));
    EXPECT_NE(first.keyPoints, second.keyPoints);
}

TEST(RenderTest, FramesAreGreyAndContinuousAtAnySize) {
    const PalmIdentity palm = identityOf(kSeed, 2, Hand::right);
    for (const cv::Size size : {cv::Size(640, 480), cv::Size(333, 517), cv::Size(96, 64)}) {
        const RenderedFrame frame =
            render(palm, captureOf(kSeed, palm, 0, Scenario::enrolment), size);
        EXPECT_EQ(frame.luma.type(), CV_8UC1);
        EXPECT_EQ(frame.luma.size(), size);
        EXPECT_TRUE(frame.luma.isContinuous());
        EXPECT_EQ(frame.content, Content::openPalm);
    }
}

TEST(RenderTest, LeftPalmsHaveOrientationZeroAndRightPalmsOne) {
    for (int person = 0; person < 10; ++person) {
        for (const Hand hand : {Hand::left, Hand::right}) {
            const PalmIdentity palm = identityOf(kSeed, person, hand);
            for (const float turn : {-40.0f, 0.0f, 40.0f}) {
                expectAllUsable(palm, 0.4f, turn);
            }
        }
    }
}

TEST(RenderTest, UprightPalmsAreUsableFromAFifthToHalfOfTheFrame) {
    for (int person = 0; person < 5; ++person) {
        const PalmIdentity palm = identityOf(kSeed, person, Hand::left);
        for (const float width : {0.20f, 0.30f, 0.40f, 0.48f}) {
            expectAllUsable(palm, width, 0.0f);
        }
    }
}

TEST(RenderTest, FingersPointUpwardsAndTheThumbOfALeftHandToTheLeft) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    const auto points = keyPointsIn(palm, plainCapture(palm, 0.4f, 0.0f), {640, 480});
    EXPECT_LT(points[3].y, points[0].y);
    EXPECT_LT(points[0].y, points[6].y);
    EXPECT_LT(points[2].x, points[5].x);
    EXPECT_LT(points[1].x, points[6].x);
}

TEST(RenderTest, PositiveTurnIsClockwiseAsSeen) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    const auto points = keyPointsIn(palm, plainCapture(palm, 0.4f, 30.0f), {640, 480});
    EXPECT_GT(points[3].x, points[0].x + 10.0f);
}

TEST(RenderTest, PalmBreadthIsAFractionOfTheShorterSide) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    const auto points = keyPointsIn(palm, plainCapture(palm, 0.5f, 0.0f), {640, 480});
    const cv::Point2f inPalm = palm.shape.keyPoints[5] - palm.shape.keyPoints[2];
    const cv::Point2f inFrame = points[5] - points[2];
    EXPECT_NEAR(std::hypot(inFrame.x, inFrame.y), 240.0f * std::hypot(inPalm.x, inPalm.y), 0.5f);
}

TEST(RenderTest, HandLengthRunsFromTheWristToTheTipOfTheMiddleFinger) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    const FingerShape& middle = palm.shape.fingers[1];
    CaptureConditions conditions = plainCapture(palm, 0.4f, 0.0f);
    conditions.lensBend = 0.0f;
    conditions.fingerTurn[1] = -middle.splay - 0.5f * middle.bow;
    conditions.fingerReach[1] = 1.0f;
    const cv::Point2f tip = middle.base + cv::Point2f(0.0f, middle.length);
    const float length = std::hypot(tip.x, tip.y + 1.18f * palm.shape.palmLength);
    EXPECT_NEAR(render(palm, conditions, {640, 480}).handLength, 0.4f * 480.0f * length, 0.5f);
    conditions.fingerReach[1] = 0.8f;
    EXPECT_NEAR(render(palm, conditions, {640, 480}).handLength,
                0.4f * 480.0f * (length - 0.2f * middle.length), 1.0f);
}

TEST(RenderTest, SkinIsBrighterThanABlackBackground) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    CaptureConditions conditions = plainCapture(palm, 0.4f, 0.0f);
    conditions.background = Background::black;
    const RenderedFrame frame = render(palm, conditions, {640, 480});
    const cv::Mat corner = frame.luma(cv::Rect(0, 0, 60, 60));
    const cv::Point middle(cvRound(frame.keyPoints[0].x), cvRound(frame.keyPoints[0].y));
    const cv::Mat skin = frame.luma(cv::Rect(middle - cv::Point(20, 20), cv::Size(40, 40)));
    EXPECT_GT(cv::mean(skin)[0], 40.0 + cv::mean(corner)[0]);
}

// Mean grey of a small place, given in palm coordinates of a plain capture.
double greyAt(const PalmIdentity& palm, const CaptureConditions& conditions, cv::Point2f place) {
    const cv::Mat frame = render(palm, conditions, {640, 480}).luma;
    const Camera camera(conditions, palm.hand, frame.size());
    const cv::Point2f at = camera.toFrame(place);
    return cv::mean(frame(cv::Rect(cvRound(at.x) - 4, cvRound(at.y) - 4, 9, 9)))[0];
}

CaptureConditions bareHand(const PalmIdentity& palm) {
    CaptureConditions conditions = plainCapture(palm, 0.3f, 0.0f);
    conditions.background = Background::black;
    conditions.wear = {};
    conditions.stains = 0;
    conditions.wetPlaces = 0;
    conditions.armTurn = 0.0f;
    conditions.lensBend = 0.0f;
    conditions.lightFallOff = 0.0f;
    return conditions;
}

// A bare hand whose detail does not show, in even light.
CaptureConditions smoothHand(const PalmIdentity& palm) {
    CaptureConditions conditions = bareHand(palm);
    conditions.creaseContrast = 0.0f;
    conditions.veinContrast = 0.0f;
    conditions.reliefContrast = 0.0f;
    conditions.lightSlope = {0.0f, 0.0f};
    conditions.lightFallOff = 0.0f;
    conditions.exposure = 120.0f;
    conditions.focusBlur = 0.0f;
    conditions.motionBlur = 0.0f;
    return conditions;
}

TEST(RenderTest, SleeveCoversTheArmAndNotThePalm) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    const CaptureConditions bare = bareHand(palm);
    CaptureConditions dressed = bare;
    dressed.wear.sleeve = 0.3f;
    dressed.wear.sleeveWidth = 0.1f;
    dressed.wear.sleeveTone = 0.1f;
    const cv::Point2f arm(0.0f, -1.75f);
    EXPECT_LT(greyAt(palm, dressed, arm), 0.4 * greyAt(palm, bare, arm));
    const cv::Point2f middle(0.0f, -0.45f);
    EXPECT_DOUBLE_EQ(greyAt(palm, dressed, middle), greyAt(palm, bare, middle));
}

TEST(RenderTest, ArmLeansAwayFromTheHand) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    CaptureConditions conditions = bareHand(palm);
    const cv::Point2f beside(0.55f, -1.9f);
    EXPECT_LT(greyAt(palm, conditions, beside), 30.0);
    conditions.armTurn = -0.5f;
    EXPECT_GT(greyAt(palm, conditions, beside), 60.0);
}

TEST(RenderTest, SlantingLightMakesTheFlankTowardsItBright) {
    PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    palm.shape.littleBulge = 0.0f;
    palm.shape.relief.mounds.fill(0.0f);
    palm.shape.relief.flankRadius = 0.15f;
    CaptureConditions conditions = bareHand(palm);
    conditions.ambient = 0.2f;
    const auto grey = [&](const cv::Point2f& place, const cv::Point2f& light) {
        conditions.lightSlope = light;
        return greyAt(palm, conditions, place);
    };
    const cv::Point2f towardsTheLittleFinger(0.47f, -0.45f);
    EXPECT_GT(grey(towardsTheLittleFinger, {0.8f, 0.0f}),
              1.15 * grey(towardsTheLittleFinger, {-0.8f, 0.0f}));
    const FingerShape& finger = palm.shape.fingers[1];
    conditions.fingerTurn[1] = -finger.splay - 0.5f * finger.bow;
    conditions.fingerReach[1] = 1.0f;
    const cv::Point2f tip = finger.base + cv::Point2f(0.0f, finger.length - 0.04f);
    EXPECT_GT(grey(tip, {0.0f, 0.8f}), 1.15 * grey(tip, {0.0f, -0.8f}));
}

// By how much more a light darkens the wall to the right of a black hand than that to the left, and
// that below than that above.
cv::Point2d shadowOf(Hand hand, float turn, const cv::Point2f& light) {
    PalmIdentity palm = identityOf(kSeed, 1, hand);
    palm.albedo = 0.0f;
    CaptureConditions conditions = bareHand(palm);
    conditions.turn = turn;
    conditions.noise = 0.0f;
    conditions.background = Background::wall;
    conditions.backgroundLevel = 0.8f;
    conditions.lightSlope = {0.0f, 0.0f};
    const cv::Mat even = render(palm, conditions, {480, 480}).luma;
    conditions.lightSlope = light;
    cv::Mat change;
    cv::subtract(even, render(palm, conditions, {480, 480}).luma, change, cv::noArray(), CV_32F);
    const auto sum = [&](const cv::Rect& part) { return cv::sum(change(part))[0] / 480.0; };
    return {sum({240, 0, 240, 480}) - sum({0, 0, 240, 480}),
            sum({0, 240, 480, 240}) - sum({0, 0, 480, 240})};
}

TEST(RenderTest, ShadowsFallAwayFromTheLight) {
    const cv::Point2f fromTheLittleFinger(0.6f, 0.0f);
    EXPECT_LT(shadowOf(Hand::left, 0.0f, fromTheLittleFinger).x, -20.0);
    EXPECT_GT(shadowOf(Hand::right, 0.0f, fromTheLittleFinger).x, 20.0);
    EXPECT_GT(shadowOf(Hand::left, 180.0f, fromTheLittleFinger).x, 20.0);
    const cv::Point2f fromTheFingerTips(0.0f, 0.6f);
    EXPECT_GT(shadowOf(Hand::left, 0.0f, fromTheFingerTips).y, 20.0);
    EXPECT_LT(shadowOf(Hand::left, 180.0f, fromTheFingerTips).y, -20.0);
    EXPECT_LT(shadowOf(Hand::left, 90.0f, fromTheFingerTips).x, -20.0);
}

TEST(RenderTest, AHandBesideTheFrameLeavesTheBackgroundAlone) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    CaptureConditions conditions = bareHand(palm);
    conditions.background = Background::wall;
    conditions.backgroundLevel = 1.0f;
    conditions.lightSlope = {0.0f, 0.0f};
    const cv::Mat middle = render(palm, conditions, {640, 480}).luma;
    conditions.place = {-2.0f, 0.5f};
    const cv::Mat beside = render(palm, conditions, {640, 480}).luma;
    conditions.lightSlope = {0.6f, 0.0f};
    EXPECT_TRUE(sameBytes(beside, render(palm, conditions, {640, 480}).luma));
    const cv::Rect farFromTheHand(0, 0, 40, 200);
    EXPECT_NEAR(cv::mean(beside(farFromTheHand))[0], cv::mean(middle(farFromTheHand))[0], 1.0);
}

TEST(RenderTest, AHandThatLeavesTheFrameGoesBitByBit) {
    PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    palm.albedo = 1.0f;
    CaptureConditions conditions = smoothHand(palm);
    conditions.background = Background::black;
    conditions.turn = 45.0f;
    int before = 160 * 120;
    for (int step = 0; step < 150; ++step) {
        conditions.place.x = 0.2f - 0.01f * static_cast<float>(step);
        const int skin = cv::countNonZero(render(palm, conditions, {160, 120}).luma > 50);
        EXPECT_TRUE(skin > 0 || before < 60) << "from " << before << " pixels to none";
        before = skin;
    }
    EXPECT_EQ(before, 0);
}

TEST(RenderTest, AFarTiltedHandIsInTheFrameWhoseHorizonIsToo) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    for (const float tilt : {-28.0f, 28.0f}) {
        CaptureConditions conditions = smoothHand(palm);
        conditions.palmWidth = 0.11f;
        conditions.distance = 3.0f;
        conditions.tiltAcross = tilt;
        conditions.place = {tilt < 0.0f ? 0.3f : 0.7f, 0.5f};
        conditions.background = Background::black;
        EXPECT_GT(greyAt(palm, conditions, {0.0f, -0.45f}), 40.0) << tilt;
    }
}

TEST(RenderTest, GroovesShowInSlantingLightAlone) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    CaptureConditions smooth = bareHand(palm);
    smooth.lightSlope = {0.0f, 0.0f};
    smooth.grooves = 0.0f;
    CaptureConditions grooved = smooth;
    grooved.grooves = 1.0f;
    EXPECT_TRUE(
        sameBytes(render(palm, smooth, {640, 480}).luma, render(palm, grooved, {640, 480}).luma));
    smooth.lightSlope = {0.6f, 0.3f};
    grooved.lightSlope = smooth.lightSlope;
    EXPECT_FALSE(
        sameBytes(render(palm, smooth, {640, 480}).luma, render(palm, grooved, {640, 480}).luma));
}

TEST(RenderTest, StainsChangeThePalm) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    CaptureConditions conditions = bareHand(palm);
    conditions.stains = 0;
    const cv::Mat clean = render(palm, conditions, {640, 480}).luma;
    conditions.stains = 3;
    EXPECT_FALSE(sameBytes(clean, render(palm, conditions, {640, 480}).luma));
}

TEST(RenderTest, WetSkinIsDarkerAndGlints) {
    PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    palm.albedo = 1.0f;
    CaptureConditions conditions = smoothHand(palm);
    conditions.sheen = 0.0f;
    const cv::Mat dry = render(palm, conditions, {640, 480}).luma;
    conditions.wetPlaces = 5;
    cv::Mat change;
    cv::subtract(render(palm, conditions, {640, 480}).luma, dry, change, cv::noArray(), CV_16S);
    double darkest = 0.0;
    double brightest = 0.0;
    cv::minMaxLoc(change, &darkest, &brightest);
    EXPECT_LT(darkest, -10.0);
    EXPECT_GT(brightest, 20.0);
}

// How much brighter a frame becomes at a place of the palm when `other` is drawn instead of `one`.
double gainAt(const cv::Point2f& place, const PalmIdentity& one, const PalmIdentity& other,
              const CaptureConditions& conditions) {
    return greyAt(other, conditions, place) - greyAt(one, conditions, place);
}

TEST(RenderTest, LongNailsStandOutOverTheFingerTips) {
    PalmIdentity bitten = identityOf(kSeed, 1, Hand::left);
    FingerShape& finger = bitten.shape.fingers[1];
    finger.splay = 0.0f;
    finger.bow = 0.0f;
    bitten.shape.nails = {0.0f, 1.2f};
    CaptureConditions conditions = smoothHand(bitten);
    conditions.background = Background::black;
    conditions.palmWidth = 0.25f;
    conditions.fingerTurn.fill(0.0f);
    conditions.fingerReach.fill(1.0f);
    PalmIdentity grown = bitten;
    grown.shape.nails.length = 0.1f;
    const cv::Point2f tip = finger.base + cv::Point2f(0.0f, finger.length);
    EXPECT_GT(gainAt(tip + cv::Point2f(0.0f, 0.04f), bitten, grown, conditions), 20.0);
    EXPECT_EQ(gainAt(tip - cv::Point2f(0.0f, 0.3f), bitten, grown, conditions), 0.0);
}

TEST(RenderTest, ARolledThumbShowsItsNail) {
    PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    palm.shape.nails = {0.0f, 0.2f};
    CaptureConditions conditions = smoothHand(palm);
    conditions.thumbRoll = 0.0f;
    const cv::Mat hidden = render(palm, conditions, {640, 480}).luma;
    std::array<int, 2> covered{};
    for (std::size_t i = 0; i < covered.size(); ++i) {
        conditions.thumbRoll = i == 0 ? 0.2f : 1.0f;
        cv::Mat change;
        cv::subtract(hidden, render(palm, conditions, {640, 480}).luma, change);
        covered[i] = cv::countNonZero(change > 15);
    }
    EXPECT_GT(covered[0], 10);
    EXPECT_GT(covered[1], covered[0] * 3 / 2);
}

TEST(RenderTest, BlurLowersSharpness) {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    CaptureConditions conditions = plainCapture(palm, 0.4f, 0.0f);
    conditions.noise = 0.0f;
    conditions.motionBlur = 0.0f;
    conditions.focusBlur = 0.0f;
    const float sharp = measureSharpness(render(palm, conditions, {640, 480}).luma);
    conditions.focusBlur = 0.02f;
    EXPECT_LT(measureSharpness(render(palm, conditions, {640, 480}).luma), 0.5f * sharp);
}

TEST(RenderTest, EveryEnrolmentCaptureIsUsableAndWellPlaced) {
    for (int person = 0; person < 40; ++person) {
        const Hand hand = person % 2 == 0 ? Hand::left : Hand::right;
        const PalmIdentity palm = identityOf(kSeed, person, hand);
        for (int capture = 0; capture < 12; ++capture) {
            const CaptureConditions conditions =
                captureOf(kSeed, palm, capture, Scenario::enrolment);
            for (const cv::Size size : kSizes) {
                const FrameSize frame{size.width, size.height};
                PvaHandPose pose = poseOf(keyPointsIn(palm, conditions, size));
                ASSERT_TRUE(judgeHand(pose, frame)) << person << ' ' << capture << ' ' << size;
                ASSERT_EQ(placementCode(pose, frame, kPlacement), PVA_PLACEMENT_GOOD)
                    << person << ' ' << capture << ' ' << size;
            }
        }
    }
}

TEST(RenderTest, FramesWithoutAnOpenPalmTellWhetherAnotherHandIsInThem) {
    std::array<int, 3> counts{};
    for (int number = 0; number < 60; ++number) {
        ++counts[static_cast<std::size_t>(renderWithoutPalm(kSeed, number, {64, 48}).content)];
    }
    EXPECT_EQ(counts[static_cast<std::size_t>(Content::openPalm)], 0);
    EXPECT_GT(counts[static_cast<std::size_t>(Content::otherHand)], 10);
    EXPECT_GT(counts[static_cast<std::size_t>(Content::noHand)], 10);
}

TEST(RenderTest, FramesWithoutAHandAreEndlessAndRepeatable) {
    const RenderedFrame first = renderWithoutPalm(kSeed, 1, {320, 240});
    EXPECT_NE(first.content, Content::openPalm);
    EXPECT_EQ(first.luma.size(), cv::Size(320, 240));
    EXPECT_TRUE(sameBytes(first.luma, renderWithoutPalm(kSeed, 1, {320, 240}).luma));
    EXPECT_FALSE(sameBytes(first.luma, renderWithoutPalm(kSeed, 2, {320, 240}).luma));
}

}  // namespace
}  // namespace brairu
