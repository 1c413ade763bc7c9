// Outputs of a hand-pose network, made by hand.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace brairu::test {

struct NetworkPoint {
    int x;
    int y;
};

// One row of the output: a score byte and seven points in network pixels, -128 to 127.
struct HandRow {
    int score = 0;
    std::array<NetworkPoint, 7> points{};
};

// A left palm with the fingers up, in a network input of 128 x 128, that passes every test.
inline constexpr std::array<NetworkPoint, 7> kUprightHand{
    {{64, 72}, {42, 95}, {45, 46}, {58, 44}, {70, 45}, {83, 54}, {82, 90}}};

std::array<NetworkPoint, 7> mirrored(std::array<NetworkPoint, 7> points, int inputWidth = 128);

class PoseOutput {
public:
    explicit PoseOutput(int rows) : bytes_(static_cast<std::size_t>(rows) * 32) {}

    // Writes a row; scoreOffset as the layout of the output has it.
    PoseOutput& put(int row, const HandRow& hand, int scoreOffset = 0);

    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
};

}  // namespace brairu::test
