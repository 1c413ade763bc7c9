#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <stdexcept>

#include "blocks.h"
#include "match/registration.h"

namespace brairu::test {
namespace {

using testing::Each;
using testing::SizeIs;

RegisterBuffer bufferOf(const std::vector<CaptureBlocks>& captures) {
    RegisterBuffer buffer;
    for (const CaptureBlocks& capture : captures) {
        buffer.add(capture);
    }
    return buffer;
}

std::vector<int> headsOf(const RegisterBuffer& buffer, std::size_t block, Eigen::Index place = 0) {
    std::vector<int> heads;
    for (const FeatureBlock& centre : buffer.lists()[block]) {
        heads.push_back(centre[place]);
    }
    return heads;
}

using testing::ElementsAre;

TEST(ComputeCentres, FailsBelowOneCentre) {
    for (const int count : {0, -1}) {
        RegisterBuffer buffer = bufferOf({captureOf(axis(1))});
        EXPECT_FALSE(computeCentres(buffer, count));
        EXPECT_EQ(buffer.count(), 1);
    }
}

TEST(ComputeCentres, FailsForAnEmptyBuffer) {
    RegisterBuffer buffer;
    EXPECT_FALSE(computeCentres(buffer, 1));
    EXPECT_FALSE(computeCentres(buffer, 3));
}

TEST(ComputeCentres, FailsForListsOfDifferentLengths) {
    for (std::size_t list = 0; list < kBlocks; ++list) {
        RegisterBuffer buffer = bufferOf({captureOf(axis(1)), captureOf(axis(2))});
        buffer.lists()[list].pop_back();
        EXPECT_FALSE(computeCentres(buffer, 1));
    }
}

TEST(ComputeCentres, MakesOneCentreTheMeanOfEachList) {
    RegisterBuffer buffer =
        bufferOf({{axis(3), axis(-3), axis(10)}, {axis(4), axis(-4), axis(30)}});
    EXPECT_TRUE(computeCentres(buffer, 1));
    EXPECT_THAT(headsOf(buffer, 0), ElementsAre(3));
    EXPECT_THAT(headsOf(buffer, 1), ElementsAre(-3));
    EXPECT_THAT(headsOf(buffer, 2), ElementsAre(20));
}

TEST(ComputeCentres, RepeatsTheMeanForTwoCentres) {
    RegisterBuffer buffer = bufferOf({captureOf(axis(10)), captureOf(axis(30))});
    EXPECT_TRUE(computeCentres(buffer, 2));
    EXPECT_THAT(headsOf(buffer, 0), ElementsAre(20, 20));
    EXPECT_THAT(headsOf(buffer, 2), ElementsAre(20, 20));
}

// Ten captures: the even ones lie near the mean, the odd ones far from it.
std::vector<CaptureBlocks> nearAndFar() {
    std::vector<CaptureBlocks> captures;
    for (int i = 0; i < 10; ++i) {
        const bool isFar = i % 2 == 1;
        captures.push_back({isFar ? atCosine(3, 4) : axis(100), axis(i), axis(isFar ? 90 : 10)});
    }
    return captures;
}

TEST(ComputeCentres, SplitsTenCapturesInNearestAndFarthestFiveForThreeCentres) {
    RegisterBuffer buffer = bufferOf(nearAndFar());
    EXPECT_TRUE(computeCentres(buffer, 3));
    EXPECT_THAT(headsOf(buffer, 0), ElementsAre(51, 100, 3));
}

TEST(ComputeCentres, GroupsAllListsByTheFirst) {
    RegisterBuffer buffer = bufferOf(nearAndFar());
    EXPECT_TRUE(computeCentres(buffer, 3));
    EXPECT_THAT(headsOf(buffer, 1), ElementsAre(4, 4, 5));
    EXPECT_THAT(headsOf(buffer, 2), ElementsAre(50, 10, 90));
}

TEST(ComputeCentres, OrdersEqualDistancesByArrival) {
    RegisterBuffer buffer = bufferOf({{axis(4), axis(1), axis(1)},
                                      {axis(4), axis(2), axis(2)},
                                      {axis(4), axis(3), axis(3)},
                                      {axis(4), axis(4), axis(4)}});
    EXPECT_TRUE(computeCentres(buffer, 5));
    EXPECT_THAT(headsOf(buffer, 1), ElementsAre(2, 1, 2, 3, 4));
}

TEST(ComputeCentres, CutsGroupBoundariesDown) {
    // Seven captures in three groups: positions 0-1, 2-3 and 4-6.
    std::vector<CaptureBlocks> captures;
    for (int i = 0; i < 7; ++i) {
        captures.push_back({axis(4), axis(10 * i), axis(0)});
    }
    RegisterBuffer buffer = bufferOf(captures);
    EXPECT_TRUE(computeCentres(buffer, 4));
    EXPECT_THAT(headsOf(buffer, 1), ElementsAre(30, 5, 25, 50));
}

TEST(ComputeCentres, SortsCapturesWithoutDirectionLast) {
    RegisterBuffer buffer = bufferOf({{filledBlock(0), axis(90), axis(0)},
                                      {axis(4), axis(10), axis(0)},
                                      {axis(5), axis(20), axis(0)}});
    EXPECT_TRUE(computeCentres(buffer, 4));
    EXPECT_THAT(headsOf(buffer, 1), ElementsAre(40, 10, 20, 90));
}

TEST(ComputeCentres, WorksOnZeroBlocksOnly) {
    RegisterBuffer buffer = bufferOf({captureOf(filledBlock(0)), captureOf(filledBlock(0))});
    EXPECT_TRUE(computeCentres(buffer, 3));
    for (const auto& list : buffer.lists()) {
        ASSERT_THAT(list, SizeIs(3));
        EXPECT_THAT(valuesOf(list[2]), Each(0));
    }
}

TEST(ComputeCentres, ThrowsWhenAGroupIsEmpty) {
    RegisterBuffer buffer = bufferOf({captureOf(axis(1)), captureOf(axis(2))});
    try {
        computeCentres(buffer, 4);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& fault) {
        EXPECT_STREQ(fault.what(), "Vector collection is empty");
    }
}

TEST(ComputeCentres, NeedsOneCentreLessThanCaptures) {
    RegisterBuffer buffer = bufferOf({captureOf(axis(1)), captureOf(axis(2))});
    EXPECT_TRUE(computeCentres(buffer, 3));
}

// Groups by position with sums of integers: byte means are exact quotients cut towards zero.
class PlainCentres {
public:
    explicit PlainCentres(const std::vector<CaptureBlocks>& captures) : captures_(captures) {
        std::multimap<float, std::size_t> byDistance;
        const FeatureBlock middle = mean(0, indexes(0, captures.size(), {}));
        for (std::size_t i = 0; i < captures.size(); ++i) {
            byDistance.emplace(cosineDistance(captures[i][0], middle), i);
        }
        for (const auto& [distance, i] : byDistance) {
            order_.push_back(i);
        }
    }

    std::vector<FeatureBlock> of(std::size_t block, std::size_t centres) const {
        const std::size_t count = captures_.size();
        std::vector<FeatureBlock> result{mean(block, order_)};
        for (std::size_t group = 0; centres > 1 && group < centres - 1; ++group) {
            result.push_back(mean(block, indexes(group * count / (centres - 1),
                                                 (group + 1) * count / (centres - 1), order_)));
        }
        return result;
    }

private:
    static std::vector<std::size_t> indexes(std::size_t from, std::size_t to,
                                            const std::vector<std::size_t>& order) {
        std::vector<std::size_t> result;
        for (std::size_t i = from; i < to; ++i) {
            result.push_back(order.empty() ? i : order[i]);
        }
        return result;
    }

    FeatureBlock mean(std::size_t block, const std::vector<std::size_t>& indexes) const {
        FeatureBlock result(512);
        for (Eigen::Index place = 0; place < 512; ++place) {
            int sum = 0;
            for (const std::size_t i : indexes) {
                sum += captures_[i][block][place];
            }
            result[place] = static_cast<std::int8_t>(sum / static_cast<int>(indexes.size()));
        }
        return result;
    }

    const std::vector<CaptureBlocks>& captures_;
    std::vector<std::size_t> order_;
};

TEST(ComputeCentres, AgreesWithAPlainFormOnRandomCaptures) {
    SeededRandom random;
    const auto below = [&](std::size_t limit) {
        return static_cast<std::size_t>(random.between(0, static_cast<int>(limit) - 1));
    };
    for (std::size_t round = 0; round < 120; ++round) {
        const std::size_t centres = 1 + round % 6;
        const std::size_t count = std::max<std::size_t>(centres - 1, 1) + below(10);
        std::vector<CaptureBlocks> captures;
        for (std::size_t i = 0; i < count; ++i) {
            // Some captures repeat others: their distances tie.
            const bool repeats = i > 0 && below(3) == 0;
            captures.push_back({repeats ? captures[below(i)][0] : randomBlock(random),
                                randomBlock(random), randomBlock(random)});
        }
        RegisterBuffer buffer = bufferOf(captures);
        ASSERT_TRUE(computeCentres(buffer, static_cast<int>(centres)));
        const PlainCentres expected(captures);
        for (std::size_t block = 0; block < kBlocks; ++block) {
            const auto list = expected.of(block, centres);
            ASSERT_EQ(buffer.lists()[block].size(), list.size()) << "round " << round;
            for (std::size_t centre = 0; centre < list.size(); ++centre) {
                ASSERT_EQ(valuesOf(buffer.lists()[block][centre]), valuesOf(list[centre]))
                    << "round " << round << ", block " << block << ", centre " << centre;
            }
        }
    }
}

TEST(RegisterBuffer, KeepsBlocksInOrderOfArrival) {
    RegisterBuffer buffer = bufferOf({{axis(1), axis(2), axis(3)}, {axis(4), axis(5), axis(6)}});
    EXPECT_EQ(buffer.count(), 2);
    EXPECT_THAT(headsOf(buffer, 0), ElementsAre(1, 4));
    EXPECT_THAT(headsOf(buffer, 1), ElementsAre(2, 5));
    EXPECT_THAT(headsOf(buffer, 2), ElementsAre(3, 6));
    buffer.clear();
    EXPECT_EQ(buffer.count(), 0);
}

TEST(DynamicSimilarityCap, FallsWithTheLevel) {
    EXPECT_EQ(dynamicSimilarityCap(0), 1.0f);
    EXPECT_EQ(dynamicSimilarityCap(1), 0.90f);
    EXPECT_EQ(dynamicSimilarityCap(2), 0.85f);
    EXPECT_EQ(dynamicSimilarityCap(3), 0.80f);
    EXPECT_EQ(dynamicSimilarityCap(4), 0.75f);
}

TEST(DynamicSimilarityCap, IsThatOfLevelTwoForOtherValues) {
    for (const int level : {-1, 5, 100, -2147483647}) {
        EXPECT_EQ(dynamicSimilarityCap(level), 0.85f) << level;
    }
}

TEST(SplitFeature, CutsAtMultiplesOfTheLength) {
    const std::uint8_t bytes[] = {1, 2, 255, 254, 5, 6};
    const CaptureBlocks blocks = splitFeature(bytes, 2);
    EXPECT_THAT(valuesOf(blocks[0]), ElementsAre(1, 2));
    EXPECT_THAT(valuesOf(blocks[1]), ElementsAre(-1, -2));
    EXPECT_THAT(valuesOf(blocks[2]), ElementsAre(5, 6));
}

TEST(SplitFeature, GivesEmptyBlocksForLengthsBelowOne) {
    const std::uint8_t bytes[] = {1};
    for (const int length : {0, -1, -512}) {
        EXPECT_THAT(splitFeature(bytes, length), Each(SizeIs(0))) << length;
    }
}

}  // namespace
}  // namespace brairu::test
