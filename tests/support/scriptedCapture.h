// What the scripted NPU makes of a camera frame.
#pragma once

#include <array>
#include <cstdint>

#include "brairu.h"

namespace brairu::test {

using Features = std::array<std::uint8_t, PVA_FEATURE_BYTES>;

// From now on the hand network finds a usable, well-placed hand in every frame of 640 x 480, or
// nothing.
void scriptHand();
void scriptNoHand();

// From now on the feature networks give these features; set anew for every capture.
void scriptFeatures(const Features& features);

}  // namespace brairu::test
