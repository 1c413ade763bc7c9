#include "handPose/placement.h"

#include "utils/convert.h"

namespace brairu {
namespace {

constexpr int kPortraitAllowance = 10;

// 64-bit, so that no frame size overflows.
int percentOf(std::int64_t length, int whole) {
    return static_cast<int>(100 * length / whole);
}

std::uint32_t edgeCode(const PvaHandPose& pose, FrameSize frame,
                       const PlacementSettings& settings) {
    const int halfWidth = pose.width / 2;
    const int halfHeight = pose.height / 2;
    const int horizontal = wholePercent(settings.horizontalTolerance);
    const int vertical = wholePercent(settings.verticalTolerance);
    if (percentOf(pose.centerX - halfWidth, frame.width) <= horizontal) {
        return PVA_PLACEMENT_LEFT;
    }
    if (percentOf(pose.centerY - halfHeight, frame.height) <= vertical) {
        return PVA_PLACEMENT_TOP;
    }
    if (percentOf(frame.width - (pose.centerX + halfWidth), frame.width) <= horizontal) {
        return PVA_PLACEMENT_RIGHT;
    }
    if (percentOf(frame.height - (pose.centerY + halfHeight), frame.height) <= vertical) {
        return PVA_PLACEMENT_BOTTOM;
    }
    return PVA_PLACEMENT_GOOD;
}

// A hand is too small or too large only when both sides of its box are. Portrait frames are
// narrower, so a hand fills more of their width: the width limits, and only these, come down.
std::uint32_t sizeCode(const PvaHandPose& pose, FrameSize frame,
                       const PlacementSettings& settings) {
    const std::int64_t allowance = frame.width < frame.height ? kPortraitAllowance : 0;
    const std::int64_t widthMin = wholePercent(settings.widthMin) - allowance;
    const std::int64_t widthMax = wholePercent(settings.widthMax) - allowance;
    const int width = percentOf(pose.width, frame.width);
    const int height = percentOf(pose.height, frame.height);
    if (width < widthMin && height < wholePercent(settings.heightMin)) {
        return PVA_PLACEMENT_SMALL;
    }
    if (width > widthMax && height > wholePercent(settings.heightMax)) {
        return PVA_PLACEMENT_LARGE;
    }
    return PVA_PLACEMENT_GOOD;
}

}  // namespace

PlacementSettings readPlacementSettings(ConfigDocument& document) {
    const auto fraction = [&](const char* key) { return readFloat(document, "handpose", key); };
    PlacementSettings settings;
    settings.horizontalTolerance = fraction("horizontal_offset_tolerance");
    settings.verticalTolerance = fraction("vertical_offset_tolerance");
    settings.widthMin = fraction("hand_size_width_min");
    settings.widthMax = fraction("hand_size_width_max");
    settings.heightMin = fraction("hand_size_height_min");
    settings.heightMax = fraction("hand_size_height_max");
    return settings;
}

std::uint32_t placementCode(const PvaHandPose& pose, FrameSize frame,
                            const PlacementSettings& settings) {
    const std::uint32_t edge = edgeCode(pose, frame, settings);
    return edge == PVA_PLACEMENT_GOOD ? sizeCode(pose, frame, settings) : edge;
}

}  // namespace brairu
