#include "search/contenders.h"

#include "match/kernels/chosenKernel.h"
#include "match/preparedProbe.h"
#include "search/plainTopK.h"

namespace brairu::bench {
namespace {

std::vector<SearchHit> searchFlagByFlag(const FeatureCacheFile& cache,
                                        std::span<const std::int8_t> probe) {
    const PreparedProbe prepared(probe);
    const ProbeView view = prepared.view();
    const std::int32_t probeSquares = prepared.sumOfSquares();
    const SumRecords sumRecords = chosenKernel().sumRecords;
    PlainTopK best(kHits);
    for (std::uint32_t slot = 0; slot < cache.capacity(); ++slot) {
        if (cache.flags()[slot] == FeatureCacheFile::kOccupied) {
            const std::int8_t* const record = cache.record(slot);
            RecordSums sums;
            // Itself as the one to fetch next: the cheapest way to fetch nothing.
            sumRecords(view, &record, &record, 1, &sums);
            best.offer({static_cast<std::int32_t>(slot),
                        similarityOfSums(probeSquares, sums.ss, sums.ps)});
        }
    }
    return std::move(best).ranked();
}

}  // namespace

Search ownSearch(const GalleryPointer& gallery, const SearchKernel& kernel) {
    return [gallery, &kernel] {
        return searchTopK(gallery->cache(), gallery->probe(), kHits, kernel);
    };
}

Search flagByFlagSearch(const GalleryPointer& gallery) {
    return [gallery] { return searchFlagByFlag(gallery->cache(), gallery->probe()); };
}

}  // namespace brairu::bench
