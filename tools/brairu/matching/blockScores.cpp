#include "matching/blockScores.h"

#include <algorithm>

namespace brairu::tool {

float firstBlockScore(const CaptureBlocks& probe, const CaptureBlocks& stored) {
    const auto length = static_cast<std::size_t>(std::min(probe[0].size(), stored[0].size()));
    return indexSimilarity(probe[0].data(), stored[0].data(), length);
}

BlockSimilarities searchSimilarities(const CaptureBlocks& probe, const CaptureBlocks& stored) {
    return {firstBlockScore(probe, stored), cosineSimilarity(probe[1], stored[1]),
            cosineSimilarity(probe[2], stored[2])};
}

}  // namespace brairu::tool
