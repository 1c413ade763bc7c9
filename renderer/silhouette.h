#pragma once

#include "renderer/captureConditions.h"
#include "renderer/curves.h"
#include "renderer/palmIdentity.h"

#include <opencv2/core.hpp>

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

}  // namespace brairu
