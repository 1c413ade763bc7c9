#pragma once

#include "renderer/captureConditions.h"
#include "renderer/curves.h"
#include "renderer/palmIdentity.h"
#include "renderer/random.h"

#include <opencv2/core.hpp>

#include <array>
#include <vector>

namespace brairu {

// Something flat on or around the skin: cloth, a ring, a watch, a nail, hair.
struct Patch {
    Curve outline;
    // Brightness as a share of fully lit skin.
    float tone;
};

// A body part as flat shapes in palm coordinates.
struct Silhouette {
    std::vector<Curve> parts;
    // Lines where two parts touch without growing together: dark clefts between fingers.
    std::vector<Curve> clefts;
    // Lines across joints, drawn as creases.
    std::vector<Curve> folds;
    // In the order in which they cover each other.
    std::vector<Patch> patches;
    SkinRelief relief;
};

// An open hand with its forearm running out towards -y.
Silhouette openHand(const HandShape& shape, const CaptureConditions& conditions);

// From the wrist's crease to the tip of the middle finger as it is held; the length of the hand as
// ISO 7250-1 has it.
std::array<cv::Point2f, 2> lengthwise(const HandShape& shape, const CaptureConditions& conditions);

// Skin that is no open palm, or a thing that has something of a hand.
struct OtherSkin {
    Silhouette silhouette;
    bool isHand;
    // Whether skin of the palm, with its creases, is in sight.
    bool showsPalm;
};

// A forearm, a fist, the hand of a sign with folded fingers, loose fingers, the back of a hand, a
// face, a shapeless patch, a comb.
OtherSkin otherSkin(const HandShape& shape, const CaptureConditions& conditions, Random& random);

}  // namespace brairu
