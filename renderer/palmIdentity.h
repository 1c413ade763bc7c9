#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>

namespace brairu {

enum class Hand { left, right };

// Palm coordinates: the unit is the breadth W of the palm at the finger bases, x runs towards the
// little finger, y towards the finger tips, the origin lies midway between the bases of index and
// little finger. A left palm that faces the camera with its fingers up shows x to the right.
struct FingerShape {
    cv::Point2f base;
    float length;
    float baseWidth;
    float tipWidth;
    // Resting direction in radians, 0 straight up, positive towards the little finger, and how much
    // more the tip leans that way than the base.
    float splay;
    float bow;
    // How far the joints stand out on either side, as a fraction of the base's half width.
    float joints;
};

// Raised places of the palm: at the thumb, at the little finger's side, the hollow between them, and
// below index, middle and ring finger; and how round the flanks are.
struct SkinRelief {
    // Share of each place's usual height.
    std::array<float, 6> mounds{1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f};
    // Distance from the outline at which the flank is level, palm breadths.
    float flankRadius = 0.115f;
};

// How far nails stand out over the finger tips, in palm breadths and 0 for short ones, and their
// brightness as a share of fully lit skin.
struct Nails {
    float length;
    float tone;
};

// Bones and flesh of a person, nearly the same in both hands.
struct HandShape {
    // Index, middle, ring and little finger.
    std::array<FingerShape, 4> fingers;
    float thumbLength;
    float thumbWidth;
    // Stretches everything below the finger bases.
    float palmLength;
    float thenarBulge;
    float littleBulge;
    float wristWidth;
    // How far the skin reaches from the palm towards the thumb, 0 to 1.
    float webbing;
    SkinRelief relief;
    Nails nails;
    // 0 middle of the palm, 1 heel on the thumb's side, 2 to 5 bases of index to little finger,
    // 6 heel on the little finger's side.
    std::array<cv::Point2f, 7> keyPoints;
};

// Everything that stays the same between two captures of one palm.
struct PalmIdentity {
    std::uint64_t key;
    Hand hand;
    HandShape shape;
    // How much near-infrared light the skin sends back, 0 to 1.
    float albedo;
    // Skin layers over kTextureArea, 8 bit: darkness of creases, darkness of veins, and the fine
    // relief with mottling, around 128.
    cv::Mat creases;
    cv::Mat veins;
    cv::Mat relief;
};

// Area of the skin layers in palm coordinates; row 0 is the top.
inline const cv::Rect2f kTextureArea{-0.82f, -1.40f, 1.64f, 1.88f};
// Pixels of the skin layers for one palm breadth.
inline constexpr float kTextureScale = 224.0f;

// The shape alone of what identityOf gives.
HandShape handShapeOf(std::uint64_t seed, int person, Hand hand);

// The palm of a person's hand. Both hands of a person share proportions and skin, while creases
// and veins are drawn for each hand alone.
PalmIdentity identityOf(std::uint64_t seed, int person, Hand hand);

// The same for someone who looks like others: all people of a family have one shape of hand and much
// the same course of the principal creases. For training.
PalmIdentity identityOf(std::uint64_t seed, int person, Hand hand, int family);

}  // namespace brairu
