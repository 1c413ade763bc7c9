#include "match/search.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>

#include "blocks.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

class SearchTopK : public testing::Test {
protected:
    static constexpr int kCapacity = 400;
    static constexpr int kLast = kCapacity - 1;

    void put(std::int64_t slot, const FeatureBlock& block) {
        ASSERT_TRUE(cache_.put(slot, bytesOf(block)));
    }

    // From outside, as another program would.
    void writeFlag(int slot, char flag) {
        std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(slot).put(flag);
    }

    std::vector<SearchHit> search(const FeatureBlock& probe, int k) {
        return searchTopK(cache_, bytesOf(probe), k);
    }

    TemporaryFolder folder_;
    std::string path_ = folder_.file("cache.bin");
    FeatureCacheFile cache_{path_, kCapacity, kBlockBytes};
};

std::vector<int> slotsOf(const std::vector<SearchHit>& hits) {
    std::vector<int> slots;
    for (const SearchHit& hit : hits) {
        slots.push_back(hit.slot);
    }
    return slots;
}

std::vector<float> similaritiesOf(const std::vector<SearchHit>& hits) {
    std::vector<float> similarities;
    for (const SearchHit& hit : hits) {
        similarities.push_back(hit.similarity);
    }
    return similarities;
}

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(SearchTopK, FindsNothingInAFreshCache) {
    EXPECT_THAT(search(axis(1), 25), IsEmpty());
}

TEST_F(SearchTopK, FindsNothingInACacheWithoutSlots) {
    const FeatureCacheFile empty(folder_.file("empty.bin"), 0, 512);
    EXPECT_THAT(searchTopK(empty, bytesOf(axis(1)), 25), IsEmpty());
}

TEST_F(SearchTopK, FindsNothingInAnUnmappedCache) {
    put(0, axis(1));
    cache_.close();
    EXPECT_THAT(search(axis(1), 25), IsEmpty());
}

TEST_F(SearchTopK, FindsNothingWhenNoHitIsAskedFor) {
    put(0, axis(1));
    EXPECT_THAT(search(axis(1), 0), IsEmpty());
}

TEST_F(SearchTopK, RanksByDescendingSimilarity) {
    put(3, atCosine(1, 4));
    put(5, axis(4));
    put(9, atCosine(3, 4));
    put(kLast, atCosine(-3, 4));
    const auto hits = search(axis(8), 25);
    EXPECT_THAT(slotsOf(hits), ElementsAre(5, 9, 3, kLast));
    EXPECT_THAT(similaritiesOf(hits), ElementsAre(1.0f, 0.75f, 0.25f, -0.75f));
}

TEST_F(SearchTopK, GivesAsManyHitsAsThereAreSlots) {
    for (int slot = 0; slot < 5; ++slot) {
        put(slot, axis(1, slot));
    }
    EXPECT_EQ(search(axis(1), 25).size(), 5u);
}

TEST_F(SearchTopK, KeepsTheBestTwentyFiveOfAHundred) {
    for (int slot = 0; slot < 100; ++slot) {
        put(slot, atCosine((slot * 37) % 100, 100));
    }
    const auto hits = search(axis(100), 25);
    ASSERT_EQ(hits.size(), 25u);
    for (std::size_t i = 0; i < hits.size(); ++i) {
        EXPECT_EQ((hits[i].slot * 37) % 100, 99 - static_cast<int>(i));
    }
}

TEST_F(SearchTopK, NeverReturnsAFreeSlot) {
    put(0, axis(1));
    put(1, atCosine(1, 2));
    ASSERT_TRUE(cache_.remove(0));
    EXPECT_THAT(slotsOf(search(axis(1), 25)), ElementsAre(1));
}

TEST_F(SearchTopK, CountsFlagsOtherThanOneAsFree) {
    for (int slot = 0; slot < 4; ++slot) {
        put(slot, axis(1));
    }
    writeFlag(0, 2);
    writeFlag(1, static_cast<char>(255));
    writeFlag(3, 0);
    EXPECT_THAT(slotsOf(search(axis(1), 25)), ElementsAre(2));
}

TEST_F(SearchTopK, OfEqualsKeepsTheSlotsMetFirst) {
    for (int slot = 10; slot < 16; ++slot) {
        put(slot, axis(slot));
    }
    EXPECT_THAT(slotsOf(search(axis(1), 3)), ElementsAre(10, 11, 12));
}

TEST_F(SearchTopK, OfEqualsPutsTheLowerSlotFirst) {
    put(7, atCosine(1, 2));
    put(2, atCosine(1, 2));
    put(4, axis(3));
    EXPECT_THAT(slotsOf(search(axis(1), 25)), ElementsAre(4, 2, 7));
}

TEST_F(SearchTopK, EvictsTheHighestOfEqualWorstSlots) {
    put(0, atCosine(1, 2));
    put(1, atCosine(1, 2));
    put(2, atCosine(1, 2));
    put(3, atCosine(3, 4));
    put(4, axis(4));
    EXPECT_THAT(slotsOf(search(axis(1), 3)), ElementsAre(4, 3, 0));
}

TEST_F(SearchTopK, RanksZeroRecordsByTheirConvention) {
    put(0, filledBlock(0));
    put(1, axis(1));
    EXPECT_THAT(similaritiesOf(search(axis(2), 2)), ElementsAre(1.0f, 0.0f));
    EXPECT_THAT(slotsOf(search(filledBlock(0), 2)), ElementsAre(0, 1));
}

// Every occupied slot, fully sorted, then cut.
std::vector<SearchHit> plainSearch(const FeatureCacheFile& cache, const FeatureBlock& probe,
                                   int k) {
    std::vector<SearchHit> all;
    for (std::uint32_t slot = 0; slot < cache.capacity(); ++slot) {
        std::vector<std::int8_t> record;
        if (cache.get(slot, record)) {
            all.push_back({static_cast<std::int32_t>(slot),
                           indexSimilarity(probe.data(), record.data(), record.size())});
        }
    }
    std::ranges::stable_sort(all, std::ranges::greater(), &SearchHit::similarity);
    all.resize(std::min(all.size(), static_cast<std::size_t>(k)));
    return all;
}

TEST_F(SearchTopK, AgreesWithAFullSortOnRandomCachesWithManyTies) {
    SeededRandom random;
    for (int round = 0; round < 60; ++round) {
        cache_.clear();
        const int occupied = random.between(1, kCapacity);
        for (int i = 0; i < occupied; ++i) {
            put(random.between(0, kLast),
                round % 2 == 0 ? atCosine(random.between(-4, 4), 4) : randomBlock(random));
        }
        const FeatureBlock probe =
            round % 3 == 0 ? randomBlock(random) : axis(random.between(1, 127));
        const int k = random.between(1, 40);
        const auto hits = search(probe, k);
        const auto expected = plainSearch(cache_, probe, k);
        ASSERT_EQ(slotsOf(hits), slotsOf(expected)) << "round " << round;
        ASSERT_EQ(similaritiesOf(hits), similaritiesOf(expected)) << "round " << round;
    }
}

}  // namespace
}  // namespace brairu::test
