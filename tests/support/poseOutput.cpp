#include "support/poseOutput.h"

namespace brairu::test {

std::array<NetworkPoint, 7> mirrored(std::array<NetworkPoint, 7> points, int inputWidth) {
    for (NetworkPoint& point : points) {
        point.x = inputWidth - 1 - point.x;
    }
    return points;
}

PoseOutput& PoseOutput::put(int row, const HandRow& hand, int scoreOffset) {
    std::uint8_t* byte = bytes_.data() + row * 32 + scoreOffset;
    *byte++ = static_cast<std::uint8_t>(hand.score);
    for (const NetworkPoint& point : hand.points) {
        *byte++ = static_cast<std::uint8_t>(point.x);
        *byte++ = static_cast<std::uint8_t>(point.y);
    }
    return *this;
}

}  // namespace brairu::test
