#include "matching/candidates.h"

#include <algorithm>

#include "match/similarity.h"
#include "store/palmTemplate.h"
#include "store/readOnlyDatabase.h"

namespace brairu::tool {
namespace {

constexpr int kDigits = 3;

const std::int8_t* signedBytes(const std::uint8_t* bytes) {
    return reinterpret_cast<const std::int8_t*>(bytes);
}

float firstBlockScore(const Features& probe, std::span<const std::uint8_t> stored) {
    return indexSimilarity(signedBytes(probe.data()), signedBytes(stored.data()), kBlockBytes);
}

BlockSimilarities scoresOf(const Features& probe, std::span<const std::uint8_t> stored) {
    BlockSimilarities scores{firstBlockScore(probe, stored)};
    for (std::size_t block = 1; block < kBlocks; ++block) {
        const std::size_t offset = block * kBlockBytes;
        scores[block] = cosineSimilarity(blockOf(probe.data() + offset, kBlockBytes),
                                         blockOf(stored.data() + offset, kBlockBytes));
    }
    return scores;
}

// Of the palm's templates, the nearest in block 0; nothing of a palm without one.
std::span<const std::uint8_t> nearestTemplate(const StoredPalm& palm, const Features& probe) {
    std::span<const std::uint8_t> nearest;
    float best = 0.0f;
    for (std::size_t at = 0; at + kTemplateBytes <= palm.templates.size(); at += kTemplateBytes) {
        const auto stored = palm.templates.subspan(at, kTemplateBytes);
        const float score = firstBlockScore(probe, stored);
        if (nearest.empty() || score > best) {
            nearest = stored;
            best = score;
        }
    }
    return nearest;
}

bool isSearched(const StoredPalm& palm) {
    return palm.rowId >= 1 && palm.rowId <= kMirroredPalms;
}

Measure score(int block, float value, Limit limit) {
    return {"block " + std::to_string(block) + " similarity",
            static_cast<double>(value),
            kDigits,
            "",
            {limit}};
}

}  // namespace

std::vector<Candidate> nearestPalms(const std::string& databasePath, const Features& features,
                                    std::size_t count) {
    std::vector<Candidate> nearest;
    ReadOnlyDatabase(databasePath).visitPalms([&](const StoredPalm& palm) {
        const std::span<const std::uint8_t> stored = nearestTemplate(palm, features);
        if (isSearched(palm) && !stored.empty()) {
            nearest.push_back(
                {palm.rowId, palm.userid, palm.palmindex, scoresOf(features, stored)});
        }
    });
    std::ranges::stable_sort(
        nearest, [](const Candidate& a, const Candidate& b) { return a.scores[0] > b.scores[0]; });
    nearest.resize(std::min(nearest.size(), count));
    return nearest;
}

Measures searchScores(const BlockSimilarities& scores, ConfigDocument& config) {
    const Limit auth{Bound::above, readFloat(config, "feature", "auth_threshold")};
    const Limit filter{Bound::above, readFloat(config, "feature", "filter_threshold")};
    return {score(0, scores[0], auth), score(1, scores[1], auth), score(2, scores[2], filter)};
}

Measures comparisonScores(const BlockSimilarities& scores, ConfigDocument& config) {
    const float auth = readFloat(config, "feature", "auth_threshold");
    const Limit full{Bound::atLeast, auth};
    const Limit lowered{Bound::atLeast, thirdBlockThreshold(auth)};
    return {score(0, scores[0], full), score(1, scores[1], full), score(2, scores[2], lowered)};
}

}  // namespace brairu::tool
