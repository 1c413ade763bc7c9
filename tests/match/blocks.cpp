#include "blocks.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace brairu::test {
namespace {

constexpr auto kLength = static_cast<Eigen::Index>(kBlockBytes);

// Four numbers whose squares sum up to the total; there always are some.
std::array<int, 4> fourSquares(int total) {
    const auto root = [](int value) { return static_cast<int>(std::sqrt(value)); };
    for (int a = root(total); a >= 0; --a) {
        for (int b = root(total - a * a); b >= 0; --b) {
            const int left = total - a * a - b * b;
            for (int c = root(left); c >= 0; --c) {
                const int d = root(left - c * c);
                if (d * d == left - c * c) {
                    return {a, b, c, d};
                }
            }
        }
    }
    throw std::logic_error("negative total");
}

}  // namespace

FeatureBlock blockOfValues(std::initializer_list<int> values) {
    FeatureBlock block = FeatureBlock::Zero(kLength);
    Eigen::Index place = 0;
    for (const int value : values) {
        block[place++] = static_cast<std::int8_t>(value);
    }
    return block;
}

FeatureBlock filledBlock(int value) {
    return FeatureBlock::Constant(kLength, static_cast<std::int8_t>(value));
}

FeatureBlock axis(int length, Eigen::Index place) {
    FeatureBlock block = FeatureBlock::Zero(kLength);
    block[place] = static_cast<std::int8_t>(length);
    return block;
}

FeatureBlock atCosine(int numerator, int denominator, Eigen::Index place) {
    FeatureBlock block = axis(numerator, place);
    for (const int value : fourSquares(denominator * denominator - numerator * numerator)) {
        block[++place] = static_cast<std::int8_t>(value);
    }
    return block;
}

FeatureBlock randomBlock(SeededRandom& random, int low, int high) {
    FeatureBlock block(kLength);
    for (std::int8_t& value : block) {
        value = static_cast<std::int8_t>(random.between(low, high));
    }
    return block;
}

std::vector<std::int8_t> valuesOf(const FeatureBlock& block) {
    return {block.data(), block.data() + block.size()};
}

CaptureBlocks captureOf(const FeatureBlock& every) {
    return {every, every, every};
}

std::array<std::uint8_t, kFeatureBytes> bytesOfCapture(const CaptureBlocks& capture) {
    std::array<std::uint8_t, kFeatureBytes> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const FeatureBlock& block = capture[i / kBlockBytes];
        bytes[i] = static_cast<std::uint8_t>(block[static_cast<Eigen::Index>(i % kBlockBytes)]);
    }
    return bytes;
}

std::vector<std::uint8_t> templateWith(const CaptureBlocks& blocks, std::uint8_t trailer) {
    const auto bytes = bytesOfCapture(blocks);
    std::vector<std::uint8_t> result(kTemplateBytes, trailer);
    std::ranges::copy(bytes, result.begin());
    return result;
}

CaptureBlocks blocksInRow(const std::vector<std::uint8_t>& row, int index) {
    return splitFeature(row.data() + static_cast<std::size_t>(index) * kTemplateBytes,
                        static_cast<int>(kBlockBytes));
}

}  // namespace brairu::test
