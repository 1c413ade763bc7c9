// 1:N search: block 0 against every occupied slot of the feature cache, then blocks 1 and 2 of the
// best.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "brairu.h"
#include "match/kernels/kernel.h"
#include "match/similarity.h"
#include "store/templateStore.h"

namespace brairu {

struct SearchHit {
    std::int32_t slot = 0;
    float similarity = 0.0f;
};

// At most k hits in descending similarity; of equals, the lower slot is kept and comes first. An
// unmapped or empty cache has none.
std::vector<SearchHit> searchTopK(const FeatureCacheFile& cache, std::span<const std::int8_t> probe,
                                  int k);

// The same with a kernel of the caller's choice, which the CPU must be able to run.
std::vector<SearchHit> searchTopK(const FeatureCacheFile& cache, std::span<const std::int8_t> probe,
                                  int k, const SearchKernel& kernel);

// The three blocks of a probe.
struct ProbeBlocks {
    const FeatureBlock& block0;
    const FeatureBlock& block1;
    const FeatureBlock& block2;
};

// Finds the palm whose template agrees with the probe on all three blocks. True when one does:
// result then has its row id and block-0 similarity. They are also written, with false, for a
// candidate whose template cannot be read. templateIndex becomes the template number of the last
// candidate looked at.
bool matchProbe(TemplateStore& store, const ProbeBlocks& probe, PvaAuthResult& result,
                int& templateIndex);

}  // namespace brairu
