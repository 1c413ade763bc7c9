#pragma once

#include "renderer/captureConditions.h"
#include "renderer/curves.h"
#include "renderer/palmIdentity.h"
#include "renderer/random.h"

#include <vector>

namespace brairu {

// A body part as flat shapes in palm coordinates.
struct Silhouette {
    std::vector<Curve> parts;
    // Lines where two parts touch without growing together: dark clefts between fingers.
    std::vector<Curve> clefts;
    // Lines across joints, drawn as creases.
    std::vector<Curve> folds;
};

// An open hand with its forearm running out towards -y.
Silhouette openHand(const HandShape& shape, const CaptureConditions& conditions);

// Skin that is no open palm: forearm, fist, pointing finger, face-like or shapeless patch.
Silhouette otherSkin(Random& random);

}  // namespace brairu
