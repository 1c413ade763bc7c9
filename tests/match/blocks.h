// Feature blocks, captures and templates with known cosines for the tests of matching.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "match/registration.h"
#include "match/similarity.h"
#include "store/palmTemplate.h"
#include "support/seededRandom.h"

namespace brairu::test {

// Values at the head of a block, zeros behind them.
FeatureBlock blockOfValues(std::initializer_list<int> values);
FeatureBlock filledBlock(int value);

// A block along one coordinate. Blocks along different coordinates have cosine 0.
FeatureBlock axis(int length, Eigen::Index place = 0);

// A block of Euclidean length denominator (at most 127) whose cosine with axis(any, place) is
// numerator / denominator. It uses the coordinates place to place + 4. With a denominator that is a
// power of two every form of the cosine has exactly this value.
FeatureBlock atCosine(int numerator, int denominator, Eigen::Index place = 0);

// Uniform in [low, high].
FeatureBlock randomBlock(SeededRandom& random, int low = -128, int high = 127);

std::vector<std::int8_t> valuesOf(const FeatureBlock& block);
CaptureBlocks captureOf(const FeatureBlock& every);

// The caller's form of a capture.
std::array<std::uint8_t, kFeatureBytes> bytesOfCapture(const CaptureBlocks& capture);

// A stored template, with this value in each of its last ten bytes.
std::vector<std::uint8_t> templateWith(const CaptureBlocks& blocks, std::uint8_t trailer = 0);

// The blocks of template index of a row.
CaptureBlocks blocksInRow(const std::vector<std::uint8_t>& row, int index);

}  // namespace brairu::test
