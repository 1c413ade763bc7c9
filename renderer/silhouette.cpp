#include "renderer/silhouette.h"

#include <cmath>

namespace brairu {

namespace {

constexpr float kPi = static_cast<float>(CV_PI);
constexpr float kDegree = kPi / 180.0f;
// Where the wrist's crease lies, in palm coordinates of a palm of usual length.
constexpr float kWrist = -1.18f;
// How far below the wrist the forearm ends: farther than any frame reaches.
constexpr float kElbow = 6.0f;

// Palm breadth, as a fraction of the frame, from which a back of a hand differs from a palm.
constexpr float kNailsShow = 0.3f;

cv::Point2f towards(float angle) {
    return {std::sin(angle), std::cos(angle)};
}

cv::Point2f rightOf(const cv::Point2f& along) {
    return {along.y, -along.x};
}

struct FingerPose {
    float turn;
    float reach;
};

// The centre line of a finger as it is held, from 0 at its base to 1 at its tip.
class FingerLine {
public:
    FingerLine(const FingerShape& finger, const FingerPose& pose)
        : base_(finger.base),
          angle_(finger.splay + pose.turn),
          bow_(finger.bow),
          length_(finger.length * pose.reach) {}

    cv::Point2f at(float t) const {
        return base_ + towards(angle_ + 0.5f * bow_ * t) * (length_ * t);
    }

    cv::Point2f along(float t) const { return towards(angle_ + bow_ * t); }

    float length() const { return length_; }

private:
    cv::Point2f base_;
    float angle_;
    float bow_;
    float length_;
};

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

// A fold across a finger at a fraction of its length, moved on by `lift`.
Curve foldAcross(const FingerShape& finger, const FingerPose& pose, float t, float lift) {
    const FingerLine line(finger, pose);
    const cv::Point2f along = line.along(t);
    const cv::Point2f centre = line.at(t) + along * lift;
    const cv::Point2f half = rightOf(along) * (finger.baseWidth * 0.42f);
    return smoothCurve({centre - half, centre + along * 0.012f, centre + half}, 4);
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

// Where the nail of a thumb sits.
struct ThumbTip {
    cv::Point2f centre;
    cv::Point2f along;
    float halfWidth;
};

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
                                           {wrist, kWrist * s}},
                                          6);
    const Curve flankThumb = smoothCurve({{-wrist, kWrist * s},
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

// Points of an arm that leaves the wrist downwards, turned by an angle.
class ArmLine {
public:
    ArmLine(float wristY, float turn)
        : wrist_(0.0f, wristY), down_(-std::sin(turn), -std::cos(turn)) {}

    cv::Point2f at(float below) const { return wrist_ + down_ * below; }

    // A band around the arm between two distances below the wrist.
    Curve band(float from, float to, float halfWidth) const {
        const cv::Point2f side = rightOf(down_) * halfWidth;
        return {at(from) - side, at(from) + side, at(to) + side * 1.1f, at(to) - side * 1.1f};
    }

private:
    cv::Point2f wrist_;
    cv::Point2f down_;
};

Curve forearm(const ArmLine& arm, float wristHalf, float widening) {
    return limbOutline({{arm.at(kElbow), wristHalf * (1.0f + 2.5f * widening)},
                        {arm.at(1.6f), wristHalf * (1.0f + widening)},
                        {arm.at(0.5f), wristHalf * 1.03f},
                        {arm.at(-0.12f), wristHalf}});
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

// What a hand that shows its palm lets one see of a nail: the edge that stands out over the tip.
Curve nailEdge(cv::Point2f root, const cv::Point2f& along, float halfWidth, float from, float to) {
    const cv::Point2f side = rightOf(along) * halfWidth;
    Curve edge;
    constexpr int kSteps = 8;
    const auto addArch = [&](float reach, float turn) {
        for (int i = 0; i <= kSteps; ++i) {
            const float angle = kPi * static_cast<float>(i) / kSteps;
            edge.push_back(root - side * (turn * std::cos(angle)) +
                           along * (reach * std::sin(angle)));
        }
    };
    addArch(to, 1.0f);
    addArch(from, -1.0f);
    return edge;
}

void addFingerNail(Silhouette& hand, const FingerShape& finger, const FingerPose& pose,
                   const Nails& nails) {
    const FingerLine line(finger, pose);
    const float half = finger.tipWidth * 0.5f;
    const cv::Point2f along = line.along(1.0f);
    const cv::Point2f root = line.at(1.0f - half / line.length());
    hand.patches.push_back(
        {nailEdge(root, along, half * 0.66f, half * 0.96f, half * 1.02f + nails.length),
         nails.tone});
}

// The thumb is turned against the fingers, so that its nail shows along its outer side.
void addThumbNail(Silhouette& hand, const ThumbTip& tip, float roll, float tone) {
    const cv::Point2f outward = rightOf(tip.along) * -1.0f;
    const float width = tip.halfWidth * (0.25f + 0.35f * roll);
    const cv::Point2f centre = tip.centre + outward * (tip.halfWidth - width);
    Curve nail = ellipse({}, {width, tip.halfWidth * 0.85f});
    for (cv::Point2f& point : nail) {
        point = centre + outward * -point.x + tip.along * point.y;
    }
    hand.patches.push_back({nail, tone});
}

void addRing(Silhouette& hand, const FingerShape& finger, const FingerPose& pose, float tone) {
    const FingerLine line(finger, pose);
    const cv::Point2f half = rightOf(line.along(0.2f)) * (finger.baseWidth * 0.5f);
    const cv::Point2f from = line.at(0.17f);
    const cv::Point2f to = line.at(0.23f);
    hand.patches.push_back({{from - half, from + half, to + half, to - half}, tone});
}

Curve patch(cv::Point2f centre, cv::Point2f radii, float roughness, Random& random) {
    Curve points;
    constexpr int kCorners = 11;
    for (int i = 0; i < kCorners; ++i) {
        const float angle = 2.0f * kPi * static_cast<float>(i) / kCorners;
        const float reach = 1.0f + random.normal(roughness);
        points.emplace_back(centre.x + radii.x * reach * std::cos(angle),
                            centre.y + radii.y * reach * std::sin(angle));
    }
    points.push_back(points.front());
    return smoothCurve(points, 4);
}

void addPalm(Silhouette& hand, const HandShape& shape, const CaptureConditions& conditions) {
    const ArmLine arm(-1.15f * shape.palmLength, conditions.armTurn);
    const float wristHalf = shape.wristWidth * 0.5f;
    hand.relief = shape.relief;
    hand.parts.push_back(palmOutline(shape));
    hand.parts.push_back(forearm(arm, wristHalf, 0.14f));
    dressArm(hand, arm, wristHalf, conditions);
}

FingerPose poseOf(const CaptureConditions& conditions, std::size_t finger) {
    return {conditions.fingerTurn[finger], conditions.fingerReach[finger]};
}

void addNails(Silhouette& hand, const HandShape& shape, const CaptureConditions& conditions,
              const ThumbTip& thumb) {
    for (std::size_t i = 0; shape.nails.length > 0.0f && i < shape.fingers.size(); ++i) {
        addFingerNail(hand, shape.fingers[i], poseOf(conditions, i), shape.nails);
    }
    if (conditions.thumbRoll > 0.0f) {
        addThumbNail(hand, thumb, conditions.thumbRoll, shape.nails.tone);
    }
}

void addKnuckles(Silhouette& skin, Random& random) {
    for (int i = 0; i < 4; ++i) {
        const float x = -0.34f + 0.22f * static_cast<float>(i) + random.normal(0.01f);
        const float top = 0.05f - 0.05f * std::abs(static_cast<float>(i) - 1.2f);
        const std::vector<LimbPoint> stub{{{x, -0.75f}, 0.12f}, {{x, top}, 0.115f}};
        skin.parts.push_back(limbOutline(stub));
        addClefts(skin, stub);
        skin.folds.push_back({{x - 0.1f, -0.15f}, {x + 0.1f, -0.15f}});
    }
}

Silhouette fist(Random& random) {
    Silhouette skin;
    skin.parts.push_back(patch({0.0f, -0.5f}, {0.50f, 0.48f}, 0.04f, random));
    skin.parts.push_back(forearm({-1.0f, random.normal(0.15f)}, 0.34f, 0.2f));
    addKnuckles(skin, random);
    if (random.chance(0.6f)) {
        const float y = random.uniform(-0.6f, -0.3f);
        const std::vector<LimbPoint> thumb{{{-0.45f, y - 0.3f}, 0.14f}, {{0.15f, y}, 0.12f}};
        skin.parts.push_back(limbOutline(thumb));
        addClefts(skin, thumb);
    }
    return skin;
}

FingerShape anyFinger(cv::Point2f base, float length, float width, Random& random) {
    return {base,
            length,
            width,
            width * random.uniform(0.65f, 0.85f),
            random.normal(0.14f),
            random.normal(0.06f),
            0.03f};
}

Silhouette pointing(Random& random) {
    Silhouette skin = fist(random);
    const int first = random.below(3);
    const int count = 1 + random.below(2);
    for (int i = first; i < first + count; ++i) {
        const cv::Point2f base(-0.34f + 0.22f * static_cast<float>(i), -0.02f);
        addFinger(skin, anyFinger(base, random.uniform(0.7f, 1.0f), 0.23f, random), {0.0f, 1.0f});
    }
    return skin;
}

// A finger laid down over the palm.
void addFoldedFinger(Silhouette& skin, const FingerShape& finger, Random& random) {
    const float half = finger.baseWidth * 0.5f;
    const cv::Point2f tip =
        finger.base + cv::Point2f(random.normal(0.04f), random.uniform(-0.55f, -0.3f));
    const std::vector<LimbPoint> limb{{tip, half * 0.8f},
                                      {(tip + finger.base) * 0.5f, half * 0.95f},
                                      {finger.base + cv::Point2f(0.0f, 0.10f), half}};
    skin.parts.push_back(limbOutline(limb));
    addClefts(skin, limb);
    skin.folds.push_back(
        {finger.base + cv::Point2f(-half, -0.05f), finger.base + cv::Point2f(half, -0.05f)});
}

// A hand that shows its palm with at most two fingers stretched, as signs of numbers do.
Silhouette handSign(const HandShape& shape, const CaptureConditions& conditions, Random& random) {
    Silhouette skin;
    addPalm(skin, shape, conditions);
    const int first = random.below(4);
    const int second = random.below(4);
    for (std::size_t i = 0; i < 4; ++i) {
        if (static_cast<int>(i) == first || static_cast<int>(i) == second) {
            addFinger(skin, shape.fingers[i], poseOf(conditions, i));
        } else {
            addFoldedFinger(skin, shape.fingers[i], random);
        }
    }
    const float across = random.chance(0.5f) ? random.uniform(60.0f, 110.0f) * kDegree : 0.0f;
    addThumb(skin, shape, {conditions.fingerTurn[4] + across, conditions.fingerReach[4]});
    return skin;
}

// Nails, and the wrinkles over the knuckles.
Silhouette backOfHand(const HandShape& shape, const CaptureConditions& conditions) {
    Silhouette skin = openHand(shape, conditions);
    skin.folds.clear();
    skin.relief.mounds.fill(0.0f);
    for (std::size_t i = 0; i < 4; ++i) {
        const FingerShape& finger = shape.fingers[i];
        const FingerLine line(finger, poseOf(conditions, i));
        skin.patches.push_back(
            {ellipse(line.at(0.9f), {finger.tipWidth * 0.30f, finger.tipWidth * 0.38f}),
             shape.nails.tone});
        for (const float lift : {-0.03f, 0.0f, 0.03f}) {
            skin.folds.push_back(foldAcross(finger, poseOf(conditions, i), 0.45f, lift));
        }
        skin.parts.push_back(ellipse(finger.base + cv::Point2f(0.0f, -0.12f), {0.10f, 0.09f}));
        skin.clefts.push_back({finger.base, finger.base * 0.6f + cv::Point2f(0.0f, -0.45f)});
    }
    return skin;
}

Silhouette bareArm(Random& random) {
    Silhouette skin;
    const float half = random.uniform(0.2f, 0.7f);
    const float end = random.uniform(-1.2f, 0.8f);
    skin.parts.push_back(forearm({end, random.normal(0.3f)}, half, random.uniform(0.0f, 0.4f)));
    return skin;
}

void addEye(Silhouette& skin, float side, Random& random) {
    const float brow = -0.02f + random.normal(0.02f);
    skin.patches.push_back({ellipse({side, -0.16f}, {0.13f, 0.06f}), random.uniform(0.3f, 1.2f)});
    skin.patches.push_back({ellipse({side, -0.16f}, {0.055f, 0.055f}), random.uniform(0.0f, 0.5f)});
    skin.patches.push_back({smoothCurve({{side - 0.19f, brow},
                                         {side, brow + 0.08f},
                                         {side + 0.19f, brow},
                                         {side, brow + 0.02f},
                                         {side - 0.19f, brow}},
                                        4),
                            random.uniform(0.1f, 0.8f)});
}

Silhouette face(Random& random) {
    Silhouette skin;
    skin.parts.push_back(patch({0.0f, -0.4f}, {0.75f, 1.0f}, 0.03f, random));
    skin.parts.push_back(forearm({-1.2f, 0.0f}, 0.35f, 0.5f));
    const float apart = random.uniform(0.24f, 0.34f);
    addEye(skin, -apart, random);
    addEye(skin, apart, random);
    if (random.chance(0.7f)) {
        skin.patches.push_back(
            {patch({0.0f, 0.5f}, {0.8f, random.uniform(0.2f, 0.45f)}, 0.06f, random),
             random.uniform(0.05f, 0.9f)});
    }
    skin.patches.push_back({ellipse({0.0f, -0.95f}, {0.24f, random.uniform(0.03f, 0.1f)}),
                            random.uniform(0.3f, 0.9f)});
    skin.folds.push_back({{0.02f, -0.25f}, {0.08f, -0.65f}, {-0.06f, -0.67f}});
    return skin;
}

Silhouette shapeless(Random& random) {
    Silhouette skin;
    const int parts = 1 + random.below(3);
    for (int i = 0; i < parts; ++i) {
        skin.parts.push_back(patch({random.normal(0.5f), -0.4f + random.normal(0.5f)},
                                   {random.uniform(0.2f, 1.0f), random.uniform(0.2f, 1.0f)}, 0.12f,
                                   random));
    }
    return skin;
}

// Only fingers: a hand whose palm is folded away or out of sight.
Silhouette looseFingers(Random& random) {
    Silhouette skin;
    const int count = 2 + random.below(3);
    for (int i = 0; i < count; ++i) {
        const cv::Point2f base(-0.4f + 0.26f * static_cast<float>(i), -0.6f);
        addFinger(skin, anyFinger(base, random.uniform(0.8f, 1.6f), 0.24f, random), {0.0f, 1.0f});
    }
    return skin;
}

// Prongs on a bar or a block: a comb, a rake, a plug.
Silhouette prongs(Random& random) {
    Silhouette thing;
    const int count = 2 + random.below(6);
    const float gap = 1.1f / static_cast<float>(count);
    const float half = gap * random.uniform(0.12f, 0.42f);
    const float length = random.uniform(0.2f, 1.3f);
    for (int i = 0; i < count; ++i) {
        const float x = -0.55f + gap * (static_cast<float>(i) + 0.5f);
        thing.parts.push_back(
            {{x - half, -0.2f}, {x - half, length}, {x + half, length}, {x + half, -0.2f}});
    }
    const float bottom = random.uniform(-1.2f, -0.3f);
    thing.parts.push_back({{-0.55f, 0.0f}, {0.55f, 0.0f}, {0.55f, bottom}, {-0.55f, bottom}});
    return thing;
}

}  // namespace

Silhouette openHand(const HandShape& shape, const CaptureConditions& conditions) {
    Silhouette hand;
    addPalm(hand, shape, conditions);
    for (std::size_t i = 0; i < 4; ++i) {
        addFinger(hand, shape.fingers[i], poseOf(conditions, i));
    }
    const ThumbTip thumb = addThumb(hand, shape, poseOf(conditions, 4));
    addNails(hand, shape, conditions, thumb);
    if (conditions.wear.ringTone > 0.0f) {
        const auto finger = static_cast<std::size_t>(conditions.wear.ringFinger);
        addRing(hand, shape.fingers[finger], poseOf(conditions, finger), conditions.wear.ringTone);
    }
    return hand;
}

std::array<cv::Point2f, 2> lengthwise(const HandShape& shape, const CaptureConditions& conditions) {
    constexpr std::size_t kMiddleFinger = 1;
    const FingerLine finger(shape.fingers[kMiddleFinger], poseOf(conditions, kMiddleFinger));
    return {cv::Point2f(0.0f, kWrist * shape.palmLength), finger.at(1.0f)};
}

OtherSkin otherSkin(const HandShape& shape, const CaptureConditions& conditions, Random& random) {
    switch (random.below(16)) {
        case 0:
        case 1: return {fist(random), true, false};
        case 2:
        case 3: return {pointing(random), true, false};
        case 4:
        case 5:
        case 6: return {handSign(shape, conditions, random), true, true};
        case 7:
        case 8: return {bareArm(random), false, false};
        case 9:
        case 10: return {face(random), false, false};
        case 11:
        case 12: return {looseFingers(random), true, false};
        case 13: return {prongs(random), false, false};
        case 14:
            if (conditions.palmWidth > kNailsShow) {
                return {backOfHand(shape, conditions), true, false};
            }
            break;
        default: break;
    }
    return {shapeless(random), false, false};
}

}  // namespace brairu
