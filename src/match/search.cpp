#include "match/search.h"

#include <algorithm>

namespace brairu {
namespace {

constexpr int kMostHits = 25;

// The searched length of a block, whatever the configured one is.
std::span<const std::int8_t> searchedBytes(const FeatureBlock& block) {
    const std::span<const std::int8_t> bytes = bytesOf(block);
    return bytes.first(std::min(bytes.size(), kBlockBytes));
}

struct MatchThresholds {
    float auth;
    float filter;
};

MatchThresholds readThresholds(ConfigDocument& config) {
    return {readFloat(config, "feature", "auth_threshold"),
            readFloat(config, "feature", "filter_threshold")};
}

// Blocks 1 and 2 of one stored template.
struct StoredBlocks {
    explicit StoredBlocks(Eigen::Index length) : block1(length), block2(length) {}

    bool read(TemplateStore& store, int id, int index) {
        TemplateTrailer trailer;
        return store.readBlocks(id, index, {block1.data(), static_cast<std::size_t>(block1.size())},
                                {block2.data(), static_cast<std::size_t>(block2.size())}, trailer);
    }

    FeatureBlock block1;
    FeatureBlock block2;
};

bool agrees(const ProbeBlocks& probe, const StoredBlocks& stored, MatchThresholds thresholds) {
    return cosineSimilarity(probe.block2, stored.block2) > thresholds.filter &&
           cosineSimilarity(probe.block1, stored.block1) > thresholds.auth;
}

}  // namespace

bool matchProbe(TemplateStore& store, const ProbeBlocks& probe, PvaAuthResult& result,
                int& templateIndex) {
    if (store.featureCount() == 0) {
        return false;
    }
    const std::vector<SearchHit> hits = searchTopK(*store.cache(), searchedBytes(probe.block0),
                                                   std::min(store.featureCount(), kMostHits));
    StoredBlocks stored(std::max(readInt(store.config(), "feature", "feature_len"), 0));
    const MatchThresholds thresholds = readThresholds(store.config());
    for (const SearchHit& hit : hits) {
        templateIndex = hit.slot % store.centreCount();
        if (!(hit.similarity > thresholds.auth)) {
            continue;
        }
        const int id = hit.slot / store.centreCount() + 1;
        const bool readable = stored.read(store, id, templateIndex);
        if (!readable || agrees(probe, stored, thresholds)) {
            result.rowId = id;
            result.similarity = hit.similarity;
            return readable;
        }
    }
    return false;
}

}  // namespace brairu
