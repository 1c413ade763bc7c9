#include "match/registration.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>

#include "match/search.h"

namespace brairu {
namespace {

using BlockList = std::vector<FeatureBlock>;

constexpr int kSmallestMaxCountToCompare = 2;

// Distance of every capture from the mean of all, in block 0. One without a direction (all zeros)
// sorts last.
std::vector<float> distancesFromMean(const BlockList& list) {
    const FeatureBlock mean = meanFeature(list);
    std::vector<float> distances;
    for (const FeatureBlock& block : list) {
        const float distance = cosineDistance(block, mean);
        distances.push_back(std::isnan(distance) ? std::numeric_limits<float>::infinity()
                                                 : distance);
    }
    return distances;
}

// Capture numbers from the nearest to the farthest.
std::vector<std::size_t> orderByDistance(const BlockList& list) {
    const std::vector<float> distances = distancesFromMean(list);
    std::vector<std::size_t> order(list.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return distances[a] < distances[b]; });
    return order;
}

BlockList pick(const BlockList& list, std::span<const std::size_t> captures) {
    BlockList picked;
    for (const std::size_t capture : captures) {
        picked.push_back(list[capture]);
    }
    return picked;
}

// The mean of all, then that of each of centreCount - 1 groups along the order.
BlockList centresOf(const BlockList& list, const std::vector<std::size_t>& order,
                    std::size_t centreCount) {
    BlockList centres{meanFeature(list)};
    const std::size_t groups = centreCount - 1;
    for (std::size_t group = 0; group < groups; ++group) {
        const std::size_t first = group * order.size() / groups;
        const std::size_t last = (group + 1) * order.size() / groups;
        centres.push_back(meanFeature(pick(list, std::span(order).subspan(first, last - first))));
    }
    return centres;
}

// Block by block, as far as the template reaches.
void writeCentre(const RegisterBuffer& buffer, std::size_t centre, std::span<std::uint8_t> out) {
    for (std::size_t block = 0; block < kBlocks; ++block) {
        const std::span<const std::int8_t> bytes = bytesOf(buffer.lists()[block][centre]);
        const auto place = out.subspan(std::min(block * bytes.size(), out.size()));
        std::copy_n(bytes.begin(), std::min(bytes.size(), place.size()), place.begin());
    }
}

// A row of templates from centres; trailers are zeros.
std::vector<std::uint8_t> rowOf(const RegisterBuffer& buffer, int centreCount) {
    const auto centres = static_cast<std::size_t>(centreCount);
    std::vector<std::uint8_t> row(centres * kTemplateBytes);
    for (std::size_t centre = 0; centre < centres; ++centre) {
        writeCentre(buffer, centre,
                    std::span(row).subspan(centre * kTemplateBytes, kTemplateBytes));
    }
    return row;
}

bool isEnrolled(TemplateStore& store, const RegisterBuffer& buffer) {
    const auto& lists = buffer.lists();
    PvaAuthResult ignoredResult{};
    int ignoredIndex = 0;
    return matchProbe(store, {lists[0][0], lists[1][0], lists[2][0]}, ignoredResult, ignoredIndex);
}

}  // namespace

CaptureBlocks splitFeature(const std::uint8_t* feature, int blockLength) {
    const auto length = static_cast<std::size_t>(std::max(blockLength, 0));
    return {blockOf(feature, length), blockOf(feature + length, length),
            blockOf(feature + 2 * length, length)};
}

// All that may fail comes first: the lists stay of one length.
void RegisterBuffer::add(CaptureBlocks capture) {
    for (BlockList& list : lists_) {
        list.reserve(list.size() + 1);
    }
    for (std::size_t block = 0; block < kBlocks; ++block) {
        lists_[block].push_back(std::move(capture[block]));
    }
}

void RegisterBuffer::clear() {
    lists_ = {};
}

bool RegisterBuffer::hasSimilar(const FeatureBlock& block0, float cap) const {
    return std::ranges::any_of(lists_[0], [&](const FeatureBlock& buffered) {
        return cosineSimilarity(block0, buffered) > cap;
    });
}

float dynamicSimilarityCap(int level) {
    switch (level) {
        case 0: return 1.0f;
        case 1: return 0.90f;
        case 2: return 0.85f;
        case 3: return 0.80f;
        case 4: return 0.75f;
        default: return 0.85f;
    }
}

bool repeatsFirstHalf(const RegisterBuffer& buffer, const FeatureBlock& block0, int maxCount,
                      int level) {
    // A rounded cosine of equal captures can exceed 1, so the cap of level 0 alone would not do.
    if (level == 0 || maxCount < kSmallestMaxCountToCompare) {
        return false;
    }
    const int half = maxCount / 2;
    const int buffered = buffer.count();
    return buffered >= half && buffered % half == 0 &&
           buffer.hasSimilar(block0, dynamicSimilarityCap(level));
}

bool computeCentres(RegisterBuffer& buffer, int centreCount) {
    auto& lists = buffer.lists();
    const bool parallel = lists[0].size() == lists[1].size() && lists[0].size() == lists[2].size();
    if (centreCount < 1 || lists[0].empty() || !parallel) {
        return false;
    }
    if (centreCount == 1) {
        for (BlockList& list : lists) {
            list = {meanFeature(list)};
        }
        return true;
    }
    const std::vector<std::size_t> order = orderByDistance(lists[0]);
    for (BlockList& list : lists) {
        list = centresOf(list, order, static_cast<std::size_t>(centreCount));
    }
    return true;
}

CommitOutcome commitRegistration(TemplateStore& store, RegisterBuffer& buffer,
                                 const PvaUserKey& key, bool checkDuplicate) {
    if (!computeCentres(buffer, store.centreCount())) {
        std::puts("注册失败 多人注册\r");
        return CommitOutcome::failed;
    }
    if (checkDuplicate && isEnrolled(store, buffer)) {
        return CommitOutcome::duplicate;
    }
    // A template blob that SQLite refused to bind counts as committed, as hosts have come to
    // expect.
    const auto outcome = store.enrolPalm(key, rowOf(buffer, store.centreCount()));
    return outcome == TemplateStore::EnrolOutcome::failed ? CommitOutcome::failed
                                                          : CommitOutcome::committed;
}

}  // namespace brairu
