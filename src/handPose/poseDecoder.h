// From the bytes of the hand-pose network to a PvaHandPose: the best row, its key points, the box
// around them, and whether they make a usable hand.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "brairu.h"
#include "utils/frameSize.h"

namespace brairu {

inline constexpr int kRowBytes = 32;

// Where a row keeps its score and in what unit its key points are; told by the name of the
// network's output. An unknown name leaves the layout of the run before.
struct OutputLayout {
    int scoreOffset = 0;
    float coordScale = 1.0f;
    bool splitLayout = false;

    void selectFor(std::string_view outputName);
};

// Bytes of the network's output for a configured input size: one row per anchor of the strides 8,
// 16 and 32. Sizes outside the table have that of 256 x 160.
int outputBytesFor(FrameSize input);

struct BestRow {
    int index = 0;
    std::uint8_t score = 0;
};

// The row of the largest score byte (unsigned), the first of equals; nothing without a whole row.
std::optional<BestRow> bestRow(std::span<const std::uint8_t> output, const OutputLayout& layout);

// The score of a row in whole percent; boosted, 10 more.
int scorePercent(BestRow best, const OutputLayout& layout, bool boosted);

// Writes the key points of a row, scaled from network pixels to frame pixels. output must hold the
// row.
void decodeKeyPoints(std::span<const std::uint8_t> output, int row, const OutputLayout& layout,
                     FrameSize input, FrameSize frame, PvaHandPose& pose);

// Writes centre and size of the box: the extent of the key points with a margin of a tenth on each
// side, then 1.2 times as large. All modulo 2^16.
void encloseKeyPoints(PvaHandPose& pose);

// Tests that the key points and the box make a hand that can be used, and writes the orientation of
// one that does.
bool judgeHand(PvaHandPose& pose, FrameSize frame);

}  // namespace brairu
