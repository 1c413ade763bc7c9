// FAISS: an index of 8-bit scalar-quantised unit vectors, searched whole by inner product.
#include <faiss/IndexScalarQuantizer.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "search/contenders.h"

namespace brairu::bench {
namespace {

using Vector = std::vector<float>;

Vector unitVector(std::span<const std::int8_t> block) {
    Vector vector(block.begin(), block.end());
    float squares = 0.0f;
    for (const float value : vector) {
        squares += value * value;
    }
    std::ranges::transform(vector, vector.begin(),
                           [length = std::sqrt(squares)](float value) { return value / length; });
    return vector;
}

Vector unitVectors(const FeatureCacheFile& cache) {
    Vector all;
    all.reserve(std::size_t{cache.capacity()} * kRecordBytes);
    for (std::uint32_t slot = 0; slot < cache.capacity(); ++slot) {
        const Vector vector = unitVector({cache.record(slot), kRecordBytes});
        all.insert(all.end(), vector.begin(), vector.end());
    }
    return all;
}

class FaissIndex {
public:
    explicit FaissIndex(const Gallery& gallery) : probe_(unitVector(gallery.probe())) {
        const Vector vectors = unitVectors(gallery.cache());
        // A second thread would wait for the one core of this process.
        omp_set_num_threads(1);
        index_.train(gallery.cache().capacity(), vectors.data());
        index_.add(gallery.cache().capacity(), vectors.data());
    }

    std::vector<SearchHit> search() const {
        std::array<float, kHits> similarities;
        std::array<faiss::Index::idx_t, kHits> slots;
        index_.search(1, probe_.data(), kHits, similarities.data(), slots.data());
        std::vector<SearchHit> hits(kHits);
        for (std::size_t i = 0; i < hits.size(); ++i) {
            hits[i] = {static_cast<std::int32_t>(slots[i]), similarities[i]};
        }
        return hits;
    }

private:
    Vector probe_;
    faiss::IndexScalarQuantizer index_{static_cast<int>(kRecordBytes),
                                       faiss::ScalarQuantizer::QT_8bit,
                                       faiss::METRIC_INNER_PRODUCT};
};

}  // namespace

Search faissSearch(const GalleryPointer& gallery) {
    return [index = std::make_shared<const FaissIndex>(*gallery)] { return index->search(); };
}

}  // namespace brairu::bench
