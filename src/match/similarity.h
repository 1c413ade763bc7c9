// Arithmetic on feature blocks. Pure functions.
#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <span>

namespace brairu {

// One block of signed bytes as a network put it out, 16-byte aligned.
using FeatureBlock = Eigen::Matrix<std::int8_t, Eigen::Dynamic, 1>;

// A copy of the bytes at data.
FeatureBlock blockOf(std::span<const std::int8_t> data);
FeatureBlock blockOf(const std::uint8_t* data, std::size_t length);

std::span<const std::int8_t> bytesOf(const FeatureBlock& block);

// 1 - cosine. NaN if a block is all zeros, or for blocks of different lengths: every threshold test
// then fails.
float cosineDistance(const FeatureBlock& a, const FeatureBlock& b);

// The same in single precision as a similarity.
float cosineSimilarity(const FeatureBlock& a, const FeatureBlock& b);

// The cosine in integer sums, for scanning many records; at most 1. Two all-zero blocks count as
// identical, one all-zero block as unrelated.
float indexSimilarity(const std::int8_t* probe, const std::int8_t* stored, std::size_t length);

// That cosine of the sums of squares of the probe and of the stored block, and the sum of their
// products.
float similarityOfSums(std::int32_t pp, std::int32_t ss, std::int32_t ps);

// Element-wise mean, cut towards zero. Throws std::invalid_argument for an empty list or blocks of
// different lengths.
FeatureBlock meanFeature(std::span<const FeatureBlock> blocks);

// weight * x + (1 - weight) * y, cut towards zero, of blocks of one length.
FeatureBlock blendFeature(const FeatureBlock& x, const FeatureBlock& y, float weight);

}  // namespace brairu
