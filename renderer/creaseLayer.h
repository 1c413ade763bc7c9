#pragma once

#include "renderer/palmIdentity.h"
#include "renderer/random.h"

namespace brairu {

// Darkness of the creases of a hand. `course` decides where the principal ones run, `random` how they are
// drawn, and all others.
cv::Mat drawCreases(const HandShape& shape, Random& course, Random& random);

}  // namespace brairu
