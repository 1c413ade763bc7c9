// The scan of the feature cache: batches of occupied slots go through a kernel, while the next
// batch is on its way from memory.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

#include "match/kernels/chosenKernel.h"
#include "match/preparedProbe.h"
#include "match/search.h"

namespace brairu {
namespace {

static_assert(kWholeBlock == kBlockBytes);

constexpr std::size_t kBatch = 16;

struct Batch {
    std::array<std::int32_t, kBatch> slots{};
    std::array<const std::int8_t*, kBatch> records{};
    std::size_t count = 0;
};

// Walks the occupied slots in increasing order.
class OccupiedSlots {
public:
    explicit OccupiedSlots(const FeatureCacheFile& cache)
        : cache_(cache), flag_(cache.flags()), end_(flag_ + cache.capacity()) {}

    void fill(Batch& batch) {
        batch.count = 0;
        while (batch.count < kBatch && findNext()) {
            const auto slot = static_cast<std::size_t>(flag_++ - cache_.flags());
            batch.slots[batch.count] = static_cast<std::int32_t>(slot);
            batch.records[batch.count] = cache_.record(slot);
            ++batch.count;
        }
    }

private:
    // A look at the flag itself first: in a full gallery the call costs more than it finds.
    bool findNext() {
        if (flag_ != end_ && *flag_ == FeatureCacheFile::kOccupied) {
            return true;
        }
        const void* const found =
            std::memchr(flag_, FeatureCacheFile::kOccupied, static_cast<std::size_t>(end_ - flag_));
        flag_ = found != nullptr ? static_cast<const std::uint8_t*>(found) : end_;
        return found != nullptr;
    }

    const FeatureCacheFile& cache_;
    const std::uint8_t* flag_;
    const std::uint8_t* end_;
};

// The best k hits seen so far, best first; of equals, the lower slot.
class BestHits {
public:
    BestHits(std::size_t k, std::int32_t probeSquares) : k_(k), probeSquares_(probeSquares) {
        hits_.reserve(k);
    }

    // Slots have to come in increasing order.
    void offer(std::int32_t slot, const RecordSums& sums) {
        if (mayRank(sums)) {
            offer({slot, similarityOfSums(probeSquares_, sums.ss, sums.ps)});
        }
    }

    std::vector<SearchHit> ranked() && { return std::move(hits_); }

private:
    // Tells most records apart from the best without a root: a signed square of the cosine,
    // which grows with it, against that of the worst hit.
    bool mayRank(const RecordSums& sums) const {
        const double ps = sums.ps;
        return ps * std::fabs(ps) >= leastSquare_ * sums.ss;
    }

    void offer(SearchHit hit) {
        if (hits_.size() == k_) {
            if (!(hit.similarity > hits_.back().similarity)) {
                return;
            }
            hits_.pop_back();
        }
        const auto place = std::ranges::upper_bound(hits_, hit.similarity, std::ranges::greater(),
                                                    &SearchHit::similarity);
        hits_.insert(place, hit);
        if (hits_.size() == k_) {
            raiseLeastSquare(hits_.back().similarity);
        }
    }

    // The margins are wider than what rounding can do to a similarity.
    void raiseLeastSquare(double worst) {
        constexpr double kMargin = 1e-6;
        constexpr double kRelativeMargin = 1e-9;
        if (worst > kMargin) {
            leastSquare_ =
                (worst - kMargin) * (worst - kMargin) * probeSquares_ * (1.0 - kRelativeMargin);
        }
    }

    std::size_t k_;
    std::int32_t probeSquares_;
    double leastSquare_ = std::numeric_limits<double>::lowest();  // lets everything through
    std::vector<SearchHit> hits_;
};

}  // namespace

std::vector<SearchHit> searchTopK(const FeatureCacheFile& cache, std::span<const std::int8_t> probe,
                                  int k) {
    return searchTopK(cache, probe, k, chosenKernel());
}

std::vector<SearchHit> searchTopK(const FeatureCacheFile& cache, std::span<const std::int8_t> probe,
                                  int k, const SearchKernel& kernel) {
    if (!cache.isMapped() || k < 1) {
        return {};
    }
    const PreparedProbe prepared(
        probe.first(std::min<std::size_t>(cache.recordSize(), probe.size())));
    const ProbeView view = prepared.view();
    BestHits best(static_cast<std::size_t>(k), prepared.sumOfSquares());
    OccupiedSlots slots(cache);
    Batch current;
    Batch upcoming;
    std::array<RecordSums, kBatch> sums{};
    for (slots.fill(current); current.count > 0; std::swap(current, upcoming)) {
        slots.fill(upcoming);
        kernel.sumRecords(view, current.records.data(), upcoming.records.data(), current.count,
                          sums.data());
        for (std::size_t i = 0; i < current.count; ++i) {
            best.offer(current.slots[i], sums[i]);
        }
    }
    return std::move(best).ranked();
}

}  // namespace brairu
