#include "match/similarity.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "blocks.h"

namespace brairu::test {
namespace {

using testing::Each;
using testing::ElementsAreArray;

float indexSimilarityOf(const FeatureBlock& a, const FeatureBlock& b) {
    return indexSimilarity(a.data(), b.data(), static_cast<std::size_t>(a.size()));
}

// Sums of 64 bits, in the order of the definition.
float plainIndexSimilarity(const std::vector<std::int8_t>& p, const std::vector<std::int8_t>& s) {
    const auto product = [](const auto& a, const auto& b) {
        return std::inner_product(a.begin(), a.end(), b.begin(), std::int64_t{0});
    };
    const std::int64_t pp = product(p, p);
    const std::int64_t ss = product(s, s);
    const std::int64_t ps = product(p, s);
    if (pp + ss == 0) {
        return 1.0f;
    }
    if (ps == 0) {
        return 0.0f;
    }
    const double inverseP = 1 / std::sqrt(static_cast<double>(pp));
    const double inverseS = 1 / std::sqrt(static_cast<double>(ss));
    const double distance = 1 - static_cast<double>(ps) * inverseP * inverseS;
    return distance <= 0 ? 1.0f : 1.0f - static_cast<float>(distance);
}

double preciseCosine(const FeatureBlock& a, const FeatureBlock& b) {
    const Eigen::VectorXd x = a.cast<double>();
    const Eigen::VectorXd y = b.cast<double>();
    return (x.array() * y.array()).sum() / std::sqrt(x.array().square().sum()) /
           std::sqrt(y.array().square().sum());
}

TEST(CosineDistance, IsNoughtForIdenticalBlocks) {
    SeededRandom random;
    const FeatureBlock block = randomBlock(random);
    EXPECT_NEAR(cosineDistance(block, block), 0.0f, 1e-6f);
    EXPECT_EQ(cosineDistance(axis(64), axis(1)), 0.0f);
}

TEST(CosineDistance, IsTwoForOppositeBlocks) {
    SeededRandom random;
    const FeatureBlock block = randomBlock(random, -127, 127);
    const FeatureBlock opposite = -block;
    EXPECT_NEAR(cosineDistance(block, opposite), 2.0f, 1e-6f);
    EXPECT_EQ(cosineDistance(axis(127), axis(-127)), 2.0f);
}

TEST(CosineDistance, IsOneForOrthogonalBlocks) {
    EXPECT_EQ(cosineDistance(axis(5, 0), axis(-128, 511)), 1.0f);
}

TEST(CosineDistance, IsNanForAnAllZeroBlock) {
    EXPECT_TRUE(std::isnan(cosineDistance(filledBlock(0), axis(3))));
    EXPECT_TRUE(std::isnan(cosineDistance(axis(3), filledBlock(0))));
    EXPECT_TRUE(std::isnan(cosineDistance(filledBlock(0), filledBlock(0))));
}

TEST(CosineDistance, IsNanForBlocksOfDifferentLengths) {
    EXPECT_TRUE(std::isnan(cosineDistance(axis(3), FeatureBlock::Constant(511, 3))));
}

TEST(CosineDistance, IsExactForExactCosines) {
    EXPECT_EQ(cosineDistance(atCosine(3, 4), axis(4)), 0.25f);
    EXPECT_EQ(cosineDistance(axis(4), atCosine(1, 2)), 0.5f);
    EXPECT_EQ(cosineDistance(atCosine(51, 64), axis(64)), 1.0f - 51.0f / 64.0f);
}

TEST(CosineDistance, AgreesWithDoublePrecisionOnRandomBlocks) {
    SeededRandom random;
    for (int round = 0; round < 500; ++round) {
        const FeatureBlock a = randomBlock(random);
        const FeatureBlock b = (a / 2 + randomBlock(random, -60, 60)).eval();
        ASSERT_NEAR(cosineDistance(a, b), 1 - preciseCosine(a, b), 2e-6) << "round " << round;
    }
}

TEST(CosineSimilarity, IsThePlainCosine) {
    EXPECT_EQ(cosineSimilarity(atCosine(4, 5), axis(5)), 0.8f);
    EXPECT_EQ(cosineSimilarity(atCosine(9, 10), axis(10)), 0.9f);
    EXPECT_EQ(cosineSimilarity(axis(2), axis(-2)), -1.0f);
}

TEST(IndexSimilarity, IsExactlyOneForIdenticalBlocks) {
    SeededRandom random;
    for (int round = 0; round < 200; ++round) {
        const FeatureBlock block = randomBlock(random);
        ASSERT_EQ(indexSimilarityOf(block, block), 1.0f) << "round " << round;
    }
}

TEST(IndexSimilarity, IsMinusOneForOppositeBlocks) {
    EXPECT_EQ(indexSimilarityOf(filledBlock(127), filledBlock(-127)), -1.0f);
    EXPECT_EQ(indexSimilarityOf(axis(1), axis(-128)), -1.0f);
}

TEST(IndexSimilarity, KeepsNegativeCosines) {
    EXPECT_EQ(indexSimilarityOf(atCosine(-3, 4), axis(4)), -0.75f);
}

TEST(IndexSimilarity, IsNoughtWhenOneBlockIsZero) {
    EXPECT_EQ(indexSimilarityOf(filledBlock(0), axis(7)), 0.0f);
    EXPECT_EQ(indexSimilarityOf(axis(7), filledBlock(0)), 0.0f);
}

TEST(IndexSimilarity, IsNoughtForOrthogonalBlocks) {
    EXPECT_EQ(indexSimilarityOf(axis(7, 3), axis(7, 4)), 0.0f);
}

TEST(IndexSimilarity, CountsTwoZeroBlocksAsIdentical) {
    EXPECT_EQ(indexSimilarityOf(filledBlock(0), filledBlock(0)), 1.0f);
}

TEST(IndexSimilarity, IsOneForLengthZero) {
    const std::int8_t unread = 5;
    EXPECT_EQ(indexSimilarity(&unread, &unread, 0), 1.0f);
    EXPECT_EQ(indexSimilarity(nullptr, nullptr, 0), 1.0f);
}

TEST(IndexSimilarity, LooksAtLengthBytesOnly) {
    EXPECT_EQ(indexSimilarity(blockOfValues({1, 0, 9}).data(), blockOfValues({1, 0, -9}).data(), 2),
              1.0f);
}

TEST(IndexSimilarity, HoldsTheLargestSums) {
    EXPECT_EQ(indexSimilarityOf(filledBlock(-128), filledBlock(-128)), 1.0f);
    EXPECT_EQ(indexSimilarityOf(filledBlock(-128), filledBlock(127)), -1.0f);
}

TEST(IndexSimilarity, IsExactForExactCosines) {
    EXPECT_EQ(indexSimilarityOf(atCosine(1, 2), axis(2)), 0.5f);
    EXPECT_EQ(indexSimilarityOf(axis(64), atCosine(51, 64)), 51.0f / 64.0f);
}

TEST(IndexSimilarity, AgreesWithAPlainFormToTheBit) {
    SeededRandom random;
    for (int round = 0; round < 2000; ++round) {
        const int reach = 1 << (round % 8);
        const FeatureBlock a = randomBlock(random, -reach, reach - 1);
        const FeatureBlock b = (a / 2 + randomBlock(random, -reach / 2, reach / 2)).eval();
        const float expected = plainIndexSimilarity(valuesOf(a), valuesOf(b));
        ASSERT_EQ(indexSimilarityOf(a, b), expected) << "round " << round;
        ASSERT_LE(indexSimilarityOf(a, b), 1.0f) << "round " << round;
    }
}

TEST(IndexSimilarity, IsTheCosineOnRandomBlocks) {
    SeededRandom random;
    for (int round = 0; round < 200; ++round) {
        const FeatureBlock a = randomBlock(random);
        const FeatureBlock b = randomBlock(random);
        ASSERT_NEAR(indexSimilarityOf(a, b), preciseCosine(a, b), 1e-6) << "round " << round;
    }
}

TEST(MeanFeature, ThrowsForAnEmptyList) {
    try {
        meanFeature({});
        FAIL() << "no exception";
    } catch (const std::invalid_argument& fault) {
        EXPECT_STREQ(fault.what(), "Vector collection is empty");
    }
}

TEST(MeanFeature, CutsTowardsZero) {
    const std::vector<FeatureBlock> positive{filledBlock(3), filledBlock(4)};
    const std::vector<FeatureBlock> negative{filledBlock(-3), filledBlock(-4)};
    EXPECT_THAT(valuesOf(meanFeature(positive)), Each(3));
    EXPECT_THAT(valuesOf(meanFeature(negative)), Each(-3));
}

TEST(MeanFeature, DoesNotRound) {
    // Nine times 3 and once 0: 2.7.
    std::vector<FeatureBlock> list(9, blockOfValues({3, -3}));
    list.push_back(filledBlock(0));
    EXPECT_EQ(meanFeature(list)[0], 2);
    EXPECT_EQ(meanFeature(list)[1], -2);
}

TEST(MeanFeature, DividesInsteadOfMultiplyingWithTheReciprocal) {
    // 41 times the float nearest to 1 / 41 is less than 1.
    const std::vector<FeatureBlock> list(41, filledBlock(1));
    EXPECT_THAT(valuesOf(meanFeature(list)), Each(1));
}

TEST(MeanFeature, OfOneBlockIsThatBlock) {
    SeededRandom random;
    const std::vector<FeatureBlock> list{randomBlock(random)};
    EXPECT_EQ(valuesOf(meanFeature(list)), valuesOf(list[0]));
}

TEST(MeanFeature, HoldsTheExtremes) {
    const std::vector<FeatureBlock> list(25, blockOfValues({-128, 127}));
    EXPECT_EQ(meanFeature(list)[0], -128);
    EXPECT_EQ(meanFeature(list)[1], 127);
}

TEST(MeanFeature, ThrowsForBlocksOfDifferentLengths) {
    const std::vector<FeatureBlock> list{filledBlock(1), FeatureBlock::Constant(4, 1)};
    EXPECT_THROW(meanFeature(list), std::invalid_argument);
}

TEST(MeanFeature, AgreesWithIntegerDivisionOnRandomBlocks) {
    SeededRandom random;
    for (int count = 1; count <= 60; ++count) {
        std::vector<FeatureBlock> list;
        std::vector<int> sums(kBlockBytes, 0);
        for (int i = 0; i < count; ++i) {
            list.push_back(randomBlock(random));
            for (std::size_t place = 0; place < sums.size(); ++place) {
                sums[place] += list.back()[static_cast<Eigen::Index>(place)];
            }
        }
        std::vector<int> expected;
        for (const int sum : sums) {
            expected.push_back(sum / count);
        }
        ASSERT_THAT(valuesOf(meanFeature(list)), ElementsAreArray(expected)) << count;
    }
}

TEST(BlendFeature, WeighsTheFirstBlock) {
    EXPECT_EQ(blendFeature(axis(100), axis(0), 0.15f)[0], 15);
    EXPECT_EQ(blendFeature(axis(-100), axis(0), 0.15f)[0], -15);
}

TEST(BlendFeature, KeepsTheRestOfTheSecondBlock) {
    EXPECT_EQ(blendFeature(axis(0), axis(100), 0.15f)[0], 85);
    EXPECT_EQ(blendFeature(axis(0), axis(-100), 0.15f)[0], -85);
}

TEST(BlendFeature, CutsTowardsZero) {
    EXPECT_EQ(blendFeature(axis(13), axis(0), 0.15f)[0], 1);    // 1.95
    EXPECT_EQ(blendFeature(axis(-13), axis(0), 0.15f)[0], -1);  // -1.95
}

TEST(BlendFeature, HoldsTheExtremes) {
    EXPECT_EQ(blendFeature(axis(-128), axis(-128), 0.15f)[0], -128);
    EXPECT_EQ(blendFeature(axis(127), axis(127), 1.0f)[0], 127);
    EXPECT_EQ(blendFeature(axis(127), axis(-128), 0.0f)[0], -128);
}

// All pairs of bytes. Where the exact result is no whole number, integers decide; elsewhere the
// last bit of single precision does.
TEST(BlendFeature, AgreesWithIntegersForEveryPairOfBytes) {
    for (int x = -128; x <= 127; ++x) {
        FeatureBlock all(256);
        for (int y = -128; y <= 127; ++y) {
            all[y + 128] = static_cast<std::int8_t>(y);
        }
        const FeatureBlock same = FeatureBlock::Constant(256, static_cast<std::int8_t>(x));
        const FeatureBlock blended = blendFeature(same, all, 0.15f);
        for (int y = -128; y <= 127; ++y) {
            const int hundredfold = 15 * x + 85 * y;
            const float single = 0.15f * static_cast<float>(x) + 0.85f * static_cast<float>(y);
            const int expected =
                hundredfold % 100 == 0 ? static_cast<int>(single) : hundredfold / 100;
            ASSERT_EQ(blended[y + 128], expected) << x << ", " << y;
        }
    }
}

TEST(BlockOf, CopiesAndKeepsSigns) {
    const std::uint8_t bytes[] = {0, 127, 128, 255};
    FeatureBlock block = blockOf(bytes, sizeof bytes);
    EXPECT_THAT(valuesOf(block), testing::ElementsAre(0, 127, -128, -1));
    block[0] = 9;
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytesOf(block).size(), 4u);
    EXPECT_EQ(bytesOf(block)[0], 9);
}

TEST(BlockOf, AlignsForVectorArithmetic) {
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(axis(1).data()) % 16, 0u);
}

}  // namespace
}  // namespace brairu::test
