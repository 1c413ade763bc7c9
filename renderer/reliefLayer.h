#pragma once

#include "renderer/palmIdentity.h"
#include "renderer/random.h"

namespace brairu {

// Fine skin relief over soft mottling, around 128.
cv::Mat drawRelief(Random& random);

}  // namespace brairu
