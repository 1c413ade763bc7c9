#include "renderer/silhouette.h"

#include <cmath>

namespace brairu {

namespace {

constexpr float kDegree = static_cast<float>(CV_PI / 180.0);
// Where the forearm ends: farther below the palm than any frame reaches.
constexpr float kElbow = -7.0f;

cv::Point2f towards(float angle) {
    return {std::sin(angle), std::cos(angle)};
}

struct FingerPose {
    float turn;
    float reach;
};

std::vector<LimbPoint> fingerLimb(const FingerShape& finger, const FingerPose& pose) {
    const cv::Point2f along = towards(finger.splay + pose.turn);
    const float length = finger.length * pose.reach;
    const float base = finger.baseWidth * 0.5f;
    const float tip = finger.tipWidth * 0.5f;
    const auto at = [&](float t, float halfWidth) {
        return LimbPoint{finger.base + along * (length * t), halfWidth};
    };
    const auto mixed = [&](float t) { return base + (tip - base) * t; };
    std::vector<LimbPoint> limb{{finger.base + cv::Point2f(0.0f, -0.3f), base}};
    limb.push_back(at(0.02f, base));
    limb.push_back(at(0.22f, mixed(0.30f)));
    limb.push_back(at(0.40f, mixed(0.32f)));
    limb.push_back(at(0.56f, mixed(0.62f)));
    limb.push_back(at(0.72f, mixed(0.72f)));
    limb.push_back({finger.base + along * (length - tip), tip * 0.94f});
    return limb;
}

// A fold across a limb at a fraction of its length.
Curve foldAcross(const FingerShape& finger, const FingerPose& pose, float t, float lift) {
    const cv::Point2f along = towards(finger.splay + pose.turn);
    const cv::Point2f across(along.y, -along.x);
    const cv::Point2f centre = finger.base + along * (finger.length * pose.reach * t + lift);
    const float half = finger.baseWidth * 0.42f;
    return smoothCurve({centre - across * half, centre + along * 0.012f, centre + across * half},
                       4);
}

void addFinger(Silhouette& hand, const FingerShape& finger, const FingerPose& pose) {
    const std::vector<LimbPoint> limb = fingerLimb(finger, pose);
    hand.parts.push_back(limbOutline(limb));
    const std::vector<LimbPoint> free(limb.begin() + 1, limb.end());
    auto [left, right] = limbFlanks(free);
    hand.clefts.push_back(left);
    hand.clefts.push_back(right);
    for (const float t : {0.36f, 0.68f}) {
        hand.folds.push_back(foldAcross(finger, pose, t, 0.0f));
        hand.folds.push_back(foldAcross(finger, pose, t, 0.03f));
    }
}

void addThumb(Silhouette& hand, const HandShape& shape, const FingerPose& pose) {
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
    const cv::Point2f across(along.y, -along.x);
    const cv::Point2f joint = knuckle + along * (0.46f * length);
    hand.folds.push_back(
        smoothCurve({joint - across * (half * 0.8f), joint, joint + across * (half * 0.8f)}, 4));
}

Curve palmOutline(const HandShape& shape) {
    const float s = shape.palmLength;
    const float thenar = shape.thenarBulge;
    const float wrist = shape.wristWidth * 0.5f;
    const auto& fingers = shape.fingers;
    const auto edge = [&](std::size_t i, float side) {
        return fingers[i].base + cv::Point2f(side * fingers[i].baseWidth * 0.5f, -0.02f);
    };
    const Curve flankLittle = smoothCurve({edge(3, 1.0f),
                                           {0.52f, -0.32f * s},
                                           {0.52f, -0.60f * s},
                                           {0.46f, -0.92f * s},
                                           {wrist, -1.18f * s}},
                                          6);
    const Curve flankThumb = smoothCurve({{-wrist, -1.18f * s},
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

Curve forearm(float wristHalf, float wristY, float widening) {
    return limbOutline({{{0.0f, kElbow}, wristHalf * (1.0f + 2.5f * widening)},
                        {{0.0f, wristY - 1.6f}, wristHalf * (1.0f + widening)},
                        {{0.0f, wristY - 0.5f}, wristHalf * 1.03f},
                        {{0.0f, wristY + 0.12f}, wristHalf}});
}

Curve patch(cv::Point2f centre, cv::Point2f radii, float roughness, Random& random) {
    Curve points;
    constexpr int kCorners = 11;
    for (int i = 0; i < kCorners; ++i) {
        const float angle = 2.0f * static_cast<float>(CV_PI) * static_cast<float>(i) / kCorners;
        const float reach = 1.0f + random.normal(roughness);
        points.emplace_back(centre.x + radii.x * reach * std::cos(angle),
                            centre.y + radii.y * reach * std::sin(angle));
    }
    points.push_back(points.front());
    return smoothCurve(points, 4);
}

void addKnuckles(Silhouette& skin, Random& random) {
    for (int i = 0; i < 4; ++i) {
        const float x = -0.34f + 0.22f * static_cast<float>(i) + random.normal(0.01f);
        const float top = 0.05f - 0.05f * std::abs(static_cast<float>(i) - 1.2f);
        const std::vector<LimbPoint> stub{{{x, -0.75f}, 0.12f}, {{x, top}, 0.115f}};
        skin.parts.push_back(limbOutline(stub));
        auto [left, right] = limbFlanks(stub);
        skin.clefts.push_back(left);
        skin.clefts.push_back(right);
        skin.folds.push_back({{x - 0.1f, -0.15f}, {x + 0.1f, -0.15f}});
    }
}

Silhouette fist(Random& random) {
    Silhouette skin;
    skin.parts.push_back(patch({0.0f, -0.5f}, {0.50f, 0.48f}, 0.04f, random));
    skin.parts.push_back(forearm(0.34f, -1.0f, 0.2f));
    addKnuckles(skin, random);
    if (random.chance(0.6f)) {
        const float y = random.uniform(-0.6f, -0.3f);
        const std::vector<LimbPoint> thumb{{{-0.45f, y - 0.3f}, 0.14f}, {{0.15f, y}, 0.12f}};
        skin.parts.push_back(limbOutline(thumb));
        auto [left, right] = limbFlanks(thumb);
        skin.clefts.push_back(left);
        skin.clefts.push_back(right);
    }
    return skin;
}

Silhouette pointing(Random& random) {
    Silhouette skin = fist(random);
    const int first = random.below(3);
    const int count = 1 + random.below(2);
    for (int i = first; i < first + count; ++i) {
        const FingerShape finger{{-0.34f + 0.22f * static_cast<float>(i), -0.02f},
                                 random.uniform(0.7f, 1.0f),
                                 0.23f,
                                 0.17f,
                                 random.normal(0.15f)};
        addFinger(skin, finger, {0.0f, 1.0f});
    }
    return skin;
}

Silhouette bareArm(Random& random) {
    Silhouette skin;
    const float half = random.uniform(0.2f, 0.7f);
    const float end = random.uniform(-1.2f, 0.8f);
    skin.parts.push_back(forearm(half, end, random.uniform(0.0f, 0.4f)));
    return skin;
}

Silhouette face(Random& random) {
    Silhouette skin;
    skin.parts.push_back(patch({0.0f, -0.4f}, {0.75f, 1.0f}, 0.03f, random));
    skin.parts.push_back(forearm(0.35f, -1.2f, 0.5f));
    for (const float side : {-0.3f, 0.3f}) {
        skin.folds.push_back(smoothCurve(
            {{side - 0.14f, -0.2f}, {side, -0.13f + random.normal(0.02f)}, {side + 0.14f, -0.2f}},
            4));
        skin.folds.push_back(
            smoothCurve({{side - 0.17f, -0.02f}, {side, 0.06f}, {side + 0.17f, -0.02f}}, 4));
    }
    skin.folds.push_back(
        smoothCurve({{-0.22f, -0.95f}, {0.0f, -1.0f + random.normal(0.05f)}, {0.22f, -0.95f}}, 4));
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
        const FingerShape finger{{-0.4f + 0.26f * static_cast<float>(i), -0.6f},
                                 random.uniform(0.8f, 1.6f),
                                 0.24f,
                                 0.18f,
                                 random.normal(0.12f)};
        addFinger(skin, finger, {0.0f, 1.0f});
    }
    return skin;
}

}  // namespace

Silhouette openHand(const HandShape& shape, const CaptureConditions& conditions) {
    Silhouette hand;
    hand.parts.push_back(palmOutline(shape));
    hand.parts.push_back(forearm(shape.wristWidth * 0.5f, -1.15f * shape.palmLength, 0.14f));
    for (std::size_t i = 0; i < 4; ++i) {
        addFinger(hand, shape.fingers[i], {conditions.fingerTurn[i], conditions.fingerReach[i]});
    }
    addThumb(hand, shape, {conditions.fingerTurn[4], conditions.fingerReach[4]});
    return hand;
}

Silhouette otherSkin(Random& random) {
    switch (random.below(6)) {
        case 0: return fist(random);
        case 1: return pointing(random);
        case 2: return bareArm(random);
        case 3: return face(random);
        case 4: return looseFingers(random);
        default: return shapeless(random);
    }
}

}  // namespace brairu
