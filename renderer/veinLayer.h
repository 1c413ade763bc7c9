#pragma once

#include "renderer/palmIdentity.h"
#include "renderer/random.h"

namespace brairu {

// Darkness of the veins of a hand.
cv::Mat drawVeins(Random& random);

}  // namespace brairu
