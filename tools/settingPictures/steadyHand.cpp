#include "settingPictures/steadyHand.h"

#include <algorithm>

namespace brairu::tool {
namespace {

// Of the box around the key points of a hand that is not turned, in palm coordinates.
cv::Point2f middleOf(const HandShape& shape) {
    const auto [left, right] = std::ranges::minmax(shape.keyPoints, {}, &cv::Point2f::x);
    const auto [low, high] = std::ranges::minmax(shape.keyPoints, {}, &cv::Point2f::y);
    return {(left.x + right.x) / 2.0f, (low.y + high.y) / 2.0f};
}

}  // namespace

PalmIdentity picturedPalm(int person) {
    return identityOf(kPictureSeed, person, Hand::left);
}

CaptureConditions steadyHand(const PalmIdentity& palm) {
    CaptureConditions hand = captureOf(kPictureSeed, palm, 0, Scenario::enrolment);
    hand.place = {0.5f, 0.5f};
    hand.middle = middleOf(palm.shape);
    hand.palmWidth = 0.385f;
    hand.turn = hand.tiltAcross = hand.tiltAlong = 0.0f;
    hand.lensBend = 0.0f;
    hand.exposure = 190.0f;
    hand.lightSlope = {0.0f, 0.0f};
    hand.lightCentre = {0.5f, 0.5f};
    hand.lightFallOff = 0.1f;
    hand.background = Background::black;
    hand.wear = {};
    hand.stains = hand.wetPlaces = 0;
    hand.focusBlur = hand.motionBlur = 0.0f;
    hand.noise = 1.5f;
    return hand;
}

}  // namespace brairu::tool
