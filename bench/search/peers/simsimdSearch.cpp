// SimSIMD: its cosine distance of signed bytes, the fastest that it has for this CPU, on every
// record of the file.
#include <simsimd/simsimd.h>

#include <stdexcept>

#include "search/contenders.h"
#include "search/plainTopK.h"

namespace brairu::bench {
namespace {

using Distance = void (*)(const void*, const void*, simsimd_size_t, simsimd_distance_t*);

Distance fastestDistance() {
    simsimd_kernel_punned_t kernel = nullptr;
    simsimd_capability_t used = simsimd_cap_serial_k;
    simsimd_find_kernel_punned(simsimd_metric_cos_k, simsimd_datatype_i8_k, simsimd_capabilities(),
                               simsimd_cap_any_k, &kernel, &used);
    if (kernel == nullptr) {
        throw std::runtime_error("SimSIMD has no cosine distance");
    }
    return reinterpret_cast<Distance>(reinterpret_cast<void (*)()>(kernel));
}

std::vector<SearchHit> searchWith(Distance distanceOf, const Gallery& gallery) {
    const FeatureCacheFile& cache = gallery.cache();
    PlainTopK best(kHits);
    for (std::uint32_t slot = 0; slot < cache.capacity(); ++slot) {
        if (cache.flags()[slot] == FeatureCacheFile::kOccupied) {
            simsimd_distance_t distance = 0;
            distanceOf(gallery.probe().data(), cache.record(slot), kRecordBytes, &distance);
            best.offer({static_cast<std::int32_t>(slot), static_cast<float>(1.0 - distance)});
        }
    }
    return std::move(best).ranked();
}

}  // namespace

Search simsimdSearch(const GalleryPointer& gallery) {
    return [gallery, distance = fastestDistance()] { return searchWith(distance, *gallery); };
}

}  // namespace brairu::bench
