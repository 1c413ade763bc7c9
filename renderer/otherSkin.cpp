#include "renderer/otherSkin.h"

#include "renderer/angles.h"
#include "renderer/handParts.h"
#include "renderer/openHand.h"

#include <cmath>

namespace brairu {

namespace {

// Palm breadth, as a fraction of the frame, from which a back of a hand differs from a palm.
constexpr float kNailsShow = 0.3f;

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
