// How near a capture is to enrolled palms, block by block.
#pragma once

#include <string>
#include <vector>

#include "config/configStore.h"
#include "engine/capture.h"
#include "match/authentication.h"
#include "measures/measure.h"

namespace brairu::tool {

struct Candidate {
    std::int64_t rowId = 0;
    std::int64_t userid = 0;
    std::int32_t palmindex = 0;
    BlockSimilarities scores{};  // of the palm's template that is nearest in block 0
};

// The enrolled palms that the search reaches, the nearest in block 0 first; at most count of them.
// Reads the database and changes nothing.
std::vector<Candidate> nearestPalms(const std::string& databasePath, const Features& features,
                                    std::size_t count);

// The scores of a search beside the thresholds of the configuration, and those of a comparison of
// two captures.
Measures searchScores(const BlockSimilarities& scores, ConfigDocument& config);
Measures comparisonScores(const BlockSimilarities& scores, ConfigDocument& config);

}  // namespace brairu::tool
