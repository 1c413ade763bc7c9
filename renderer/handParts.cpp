#include "renderer/handParts.h"

#include "renderer/angles.h"

namespace brairu {

namespace {

// How far below the wrist the forearm ends: farther than any frame reaches.
constexpr float kElbow = 12.0f;

cv::Point2f towards(float angle) {
    return {std::sin(angle), std::cos(angle)};
}

std::vector<LimbPoint> fingerLimb(const FingerShape& finger, const FingerPose& pose) {
    const FingerLine line(finger, pose);
    const float base = finger.baseWidth * 0.5f;
    const float tip = finger.tipWidth * 0.5f;
    const float joint = finger.joints * base;
    const auto mixed = [&](float t) { return base + (tip - base) * t; };
    std::vector<LimbPoint> limb{{finger.base + cv::Point2f(0.0f, -0.3f), base}};
    limb.push_back({line.at(0.02f), base});
    limb.push_back({line.at(0.22f), mixed(0.30f)});
    limb.push_back({line.at(0.38f), mixed(0.34f) + joint});
    limb.push_back({line.at(0.55f), mixed(0.62f)});
    limb.push_back({line.at(0.68f), mixed(0.70f) + 0.7f * joint});
    limb.push_back({line.at(1.0f - tip / line.length()), tip * 0.94f});
    return limb;
}

// Skin between the thumb and the palm.
Curve web(const HandShape& shape, cv::Point2f knuckle, cv::Point2f thumb) {
    const cv::Point2f index(-0.46f, -0.14f);
    const cv::Point2f corner(-0.42f, -0.42f);
    const cv::Point2f bay =
        corner + ((thumb + index) * 0.5f - corner) * (0.25f + 0.65f * shape.webbing);
    Curve outline = smoothCurve({knuckle, thumb, bay, index}, 6);
    outline.emplace_back(-0.2f, -0.4f);
    return outline;
}

Curve palmOutline(const HandShape& shape) {
    const float s = shape.palmLength;
    const float thenar = shape.thenarBulge;
    const float little = shape.littleBulge;
    const float wrist = shape.wristWidth * 0.5f;
    const auto& fingers = shape.fingers;
    const auto edge = [&](std::size_t i, float side) {
        return fingers[i].base + cv::Point2f(side * fingers[i].baseWidth * 0.5f, -0.02f);
    };
    const Curve flankLittle = smoothCurve({edge(3, 1.0f),
                                           {0.52f + 0.5f * little, -0.32f * s},
                                           {0.52f + little, -0.60f * s},
                                           {0.46f + little, -0.92f * s},
                                           {wrist, kWristY * s}},
                                          6);
    const Curve flankThumb = smoothCurve({{-wrist, kWristY * s},
                                          {-0.46f - thenar, -0.95f * s},
                                          {-0.56f - thenar, -0.68f * s},
                                          {-0.53f, -0.40f * s},
                                          {-0.50f, -0.18f * s},
                                          edge(0, -1.0f)},
                                         6);
    Curve outline = flankLittle;
    outline.insert(outline.end(), flankThumb.begin(), flankThumb.end());
    for (std::size_t i = 0; i < 4; ++i) {
        outline.push_back(edge(i, 0.0f));
    }
    return outline;
}

void dressArm(Silhouette& hand, const ArmLine& arm, float wristHalf,
              const CaptureConditions& conditions) {
    const ArmWear& wear = conditions.wear;
    if (wear.bandWidth > 0.0f) {
        hand.patches.push_back(
            {arm.band(wear.band, wear.band + wear.bandWidth, wristHalf * 1.07f), wear.bandTone});
    }
    if (wear.sleeve > 0.0f) {
        hand.patches.push_back(
            {arm.band(wear.sleeve, kElbow, wristHalf + wear.sleeveWidth), wear.sleeveTone});
        for (const float t : {0.15f, 0.4f, 0.7f}) {
            const cv::Point2f at = arm.at(wear.sleeve + t);
            hand.folds.push_back({at - cv::Point2f(wristHalf, 0.1f * t), at});
        }
    }
}

}  // namespace

cv::Point2f FingerLine::at(float t) const {
    return base_ + towards(angle_ + 0.5f * bow_ * t) * (length_ * t);
}

cv::Point2f FingerLine::along(float t) const {
    return towards(angle_ + bow_ * t);
}

Curve ArmLine::band(float from, float to, float halfWidth) const {
    const cv::Point2f side = rightOf(down_) * halfWidth;
    return {at(from) - side, at(from) + side, at(to) + side * 1.1f, at(to) - side * 1.1f};
}

FingerPose poseOf(const CaptureConditions& conditions, std::size_t finger) {
    return {conditions.fingerTurn[finger], conditions.fingerReach[finger]};
}

cv::Point2f rightOf(const cv::Point2f& along) {
    return {along.y, -along.x};
}

Curve ellipse(cv::Point2f centre, cv::Point2f radii) {
    Curve points;
    constexpr int kCorners = 16;
    for (int i = 0; i < kCorners; ++i) {
        const float angle = 2.0f * kPi * static_cast<float>(i) / kCorners;
        points.emplace_back(centre.x + radii.x * std::cos(angle),
                            centre.y + radii.y * std::sin(angle));
    }
    return points;
}

Curve foldAcross(const FingerShape& finger, const FingerPose& pose, float t, float lift) {
    const FingerLine line(finger, pose);
    const cv::Point2f along = line.along(t);
    const cv::Point2f centre = line.at(t) + along * lift;
    const cv::Point2f half = rightOf(along) * (finger.baseWidth * 0.42f);
    return smoothCurve({centre - half, centre + along * 0.012f, centre + half}, 4);
}

Curve forearm(const ArmLine& arm, float wristHalf, float widening) {
    return limbOutline({{arm.at(kElbow), wristHalf * (1.0f + 4.5f * widening)},
                        {arm.at(1.6f), wristHalf * (1.0f + widening)},
                        {arm.at(0.5f), wristHalf * 1.03f},
                        {arm.at(-0.12f), wristHalf}});
}

void addClefts(Silhouette& skin, const std::vector<LimbPoint>& limb) {
    auto [left, right] = limbFlanks(limb);
    skin.clefts.push_back(left);
    skin.clefts.push_back(right);
}

void addFinger(Silhouette& hand, const FingerShape& finger, const FingerPose& pose) {
    const std::vector<LimbPoint> limb = fingerLimb(finger, pose);
    hand.parts.push_back(limbOutline(limb));
    addClefts(hand, {limb.begin() + 1, limb.end()});
    for (const float t : {0.36f, 0.68f}) {
        hand.folds.push_back(foldAcross(finger, pose, t, 0.0f));
        hand.folds.push_back(foldAcross(finger, pose, t, 0.03f));
    }
}

ThumbTip addThumb(Silhouette& hand, const HandShape& shape, const FingerPose& pose) {
    const float angle = -38.0f * kDegree + pose.turn;
    const float half = shape.thumbWidth * 0.5f;
    const cv::Point2f root(-0.26f, -0.88f * shape.palmLength);
    const cv::Point2f knuckle = root + towards(angle * 0.75f - 8.0f * kDegree) * 0.50f;
    const cv::Point2f along = towards(angle);
    const float length = shape.thumbLength * pose.reach;
    const std::vector<LimbPoint> limb{{root, 0.20f},
                                      {knuckle, half * 1.15f},
                                      {knuckle + along * (0.30f * length), half * 0.95f},
                                      {knuckle + along * (0.52f * length), half * 1.0f},
                                      {knuckle + along * (0.76f * length), half * 0.90f},
                                      {knuckle + along * (length - half * 0.7f), half * 0.66f}};
    hand.parts.push_back(limbOutline(limb));
    hand.parts.push_back(web(shape, knuckle, limb[2].centre));
    addClefts(hand, {limb.begin() + 2, limb.end()});
    const cv::Point2f across = rightOf(along) * (half * 0.8f);
    const cv::Point2f joint = knuckle + along * (0.46f * length);
    hand.folds.push_back(smoothCurve({joint - across, joint, joint + across}, 4));
    return {limb.back().centre, along, half * 0.78f};
}

void addPalm(Silhouette& hand, const HandShape& shape, const CaptureConditions& conditions) {
    const ArmLine arm(-1.15f * shape.palmLength, conditions.armTurn);
    const float wristHalf = shape.wristWidth * 0.5f;
    hand.relief = shape.relief;
    hand.parts.push_back(palmOutline(shape));
    hand.parts.push_back(forearm(arm, wristHalf, 0.14f));
    dressArm(hand, arm, wristHalf, conditions);
}

}  // namespace brairu
