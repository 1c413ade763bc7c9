#include "match/similarity.h"

#include <cmath>
#include <limits>
#include <stdexcept>

namespace brairu {
namespace {

// The conversion cuts towards zero; means and blends of bytes stay in range.
FeatureBlock truncated(const Eigen::VectorXf& values) {
    return values.cast<std::int8_t>();
}

}  // namespace

FeatureBlock blockOf(std::span<const std::int8_t> data) {
    return Eigen::Map<const FeatureBlock>(data.data(), static_cast<Eigen::Index>(data.size()));
}

FeatureBlock blockOf(const std::uint8_t* data, std::size_t length) {
    return blockOf({reinterpret_cast<const std::int8_t*>(data), length});
}

std::span<const std::int8_t> bytesOf(const FeatureBlock& block) {
    return {block.data(), static_cast<std::size_t>(block.size())};
}

float cosineDistance(const FeatureBlock& a, const FeatureBlock& b) {
    if (a.size() != b.size()) {
        return std::numeric_limits<float>::quiet_NaN();
    }
    const Eigen::VectorXf wideA = a.cast<float>();
    const Eigen::VectorXf wideB = b.cast<float>();
    return 1.0f - wideA.dot(wideB) / (wideA.norm() * wideB.norm());
}

float cosineSimilarity(const FeatureBlock& a, const FeatureBlock& b) {
    return 1.0f - cosineDistance(a, b);
}

float similarityOfSums(std::int32_t pp, std::int32_t ss, std::int32_t ps) {
    if (pp == 0 && ss == 0) {
        return 1.0f;
    }
    if (ps == 0) {
        return 0.0f;
    }
    const double distance = 1.0 - ps * (1.0 / std::sqrt(pp)) * (1.0 / std::sqrt(ss));
    return distance > 0.0 ? 1.0f - static_cast<float>(distance) : 1.0f;
}

float indexSimilarity(const std::int8_t* probe, const std::int8_t* stored, std::size_t length) {
    std::int32_t pp = 0;
    std::int32_t ss = 0;
    std::int32_t ps = 0;
    for (std::size_t i = 0; i < length; ++i) {
        pp += probe[i] * probe[i];
        ss += stored[i] * stored[i];
        ps += probe[i] * stored[i];
    }
    return similarityOfSums(pp, ss, ps);
}

FeatureBlock meanFeature(std::span<const FeatureBlock> blocks) {
    if (blocks.empty()) {
        throw std::invalid_argument("Vector collection is empty");
    }
    Eigen::VectorXf sum = Eigen::VectorXf::Zero(blocks.front().size());
    for (const FeatureBlock& block : blocks) {
        if (block.size() != sum.size()) {
            throw std::invalid_argument("Vectors differ in length");
        }
        sum += block.cast<float>();
    }
    // A true division of each element: a product with the reciprocal would round otherwise.
    const auto count = static_cast<float>(blocks.size());
    return truncated(sum.unaryExpr([count](float value) { return value / count; }));
}

FeatureBlock blendFeature(const FeatureBlock& x, const FeatureBlock& y, float weight) {
    const auto rest = static_cast<float>(1.0 - static_cast<double>(weight));
    return truncated(weight * x.cast<float>() + rest * y.cast<float>());
}

}  // namespace brairu
