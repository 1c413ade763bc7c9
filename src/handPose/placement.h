// Whether the hand box is well placed in the frame, and how to move the hand if not.
#pragma once

#include <cstdint>

#include "brairu.h"
#include "config/configStore.h"
#include "utils/frameSize.h"

namespace brairu {

// Limits as fractions of the frame.
struct PlacementSettings {
    float horizontalTolerance = 0.0f;  // smallest gap to the left and right edge
    float verticalTolerance = 0.0f;    // smallest gap to the top and bottom edge
    float widthMin = 0.0f;
    float widthMax = 0.0f;
    float heightMin = 0.0f;
    float heightMax = 0.0f;
};

PlacementSettings readPlacementSettings(ConfigDocument& document);

// The placement code of a box. frame must have an area.
std::uint32_t placementCode(const PvaHandPose& pose, FrameSize frame,
                            const PlacementSettings& settings);

}  // namespace brairu
