// The search as one would first write it.
#include <cmath>

#include "search/contenders.h"
#include "search/plainTopK.h"

namespace brairu::bench {
namespace {

float similarity(const std::int8_t* probe, const std::int8_t* stored, std::size_t length) {
    std::int32_t pp = 0;
    std::int32_t ss = 0;
    std::int32_t ps = 0;
    for (std::size_t i = 0; i < length; ++i) {
        pp += probe[i] * probe[i];
        ss += stored[i] * stored[i];
        ps += probe[i] * stored[i];
    }
    const double cosine = ps * (1.0 / std::sqrt(pp)) * (1.0 / std::sqrt(ss));
    return 1.0f - static_cast<float>(1.0 - cosine);
}

std::vector<SearchHit> searchThreeSums(const FeatureCacheFile& cache,
                                       std::span<const std::int8_t> probe) {
    PlainTopK best(kHits);
    for (std::uint32_t slot = 0; slot < cache.capacity(); ++slot) {
        if (cache.flags()[slot] == FeatureCacheFile::kOccupied) {
            best.offer({static_cast<std::int32_t>(slot),
                        similarity(probe.data(), cache.record(slot), cache.recordSize())});
        }
    }
    return std::move(best).ranked();
}

}  // namespace

Search threeSumsSearch(const GalleryPointer& gallery) {
    return [gallery] { return searchThreeSums(gallery->cache(), gallery->probe()); };
}

}  // namespace brairu::bench
