// USearch: its exact search by the cosine of signed bytes, over the records of the file.
#include <usearch/index_plugins.hpp>

#include "search/contenders.h"

namespace brairu::bench {
namespace {

namespace us = unum::usearch;

class ExactSearch {
public:
    explicit ExactSearch(GalleryPointer gallery) : gallery_(std::move(gallery)) {}

    std::vector<SearchHit> operator()() {
        const FeatureCacheFile& cache = gallery_->cache();
        const auto results =
            search_(bytes(cache.record(0)), cache.capacity(), kRecordBytes,
                    bytes(gallery_->probe().data()), 1, kRecordBytes, kHits, metric_);
        std::vector<SearchHit> hits(kHits);
        for (std::size_t i = 0; i < hits.size(); ++i) {
            const auto& hit = results.at(0)[i];
            hits[i] = {static_cast<std::int32_t>(hit.offset), 1.0f - hit.distance};
        }
        return hits;
    }

private:
    static const us::byte_t* bytes(const std::int8_t* block) {
        return reinterpret_cast<const us::byte_t*>(block);
    }

    GalleryPointer gallery_;
    us::exact_search_t search_;
    us::metric_punned_t metric_{kRecordBytes, us::metric_kind_t::cos_k, us::scalar_kind_t::i8_k};
};

}  // namespace

Search usearchSearch(const GalleryPointer& gallery) {
    return [search = std::make_shared<ExactSearch>(gallery)] { return (*search)(); };
}

}  // namespace brairu::bench
