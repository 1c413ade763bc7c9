#include "support/plainMatching.h"

#include <cmath>

namespace brairu::test {
namespace {

int signedOf(std::uint8_t byte) {
    return static_cast<std::int8_t>(byte);
}

std::uint8_t byteOf(float value) {
    return static_cast<std::uint8_t>(static_cast<std::int8_t>(value));
}

}  // namespace

double cosine(const std::uint8_t* a, const std::uint8_t* b) {
    double aa = 0;
    double bb = 0;
    double ab = 0;
    for (std::size_t i = 0; i < PVA_FEATURE_BLOCK_BYTES; ++i) {
        aa += signedOf(a[i]) * signedOf(a[i]);
        bb += signedOf(b[i]) * signedOf(b[i]);
        ab += signedOf(a[i]) * signedOf(b[i]);
    }
    return ab / std::sqrt(aa * bb);
}

TemplateBytes learned(std::span<const std::uint8_t> stored, std::span<const std::uint8_t> capture) {
    constexpr float kWeight = 0.15f;
    const auto rest = static_cast<float>(1.0 - static_cast<double>(kWeight));
    TemplateBytes result{};
    for (std::size_t i = 0; i < PVA_FEATURE_BYTES; ++i) {
        result[i] = byteOf(kWeight * static_cast<float>(signedOf(capture[i])) +
                           rest * static_cast<float>(signedOf(stored[i])));
    }
    return result;
}

}  // namespace brairu::test
