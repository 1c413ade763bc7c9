#pragma once

#include "renderer/random.h"
#include "renderer/silhouette.h"

namespace brairu {

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
