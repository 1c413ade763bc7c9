// AVX2: bytes are widened to 16 bits, whose products are added in pairs into 32 bits.
#include "match/kernels/pairLoop.h"

namespace brairu {
namespace {

constexpr std::size_t kStep = 16;

__m256i widened(const std::int8_t* bytes) {
    return _mm256_cvtepi8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
}

__m256i loaded(const std::int16_t* values) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(values));
}

// { a0 + a2, b0 + b2, a1 + a3, b1 + b3 } of every four lanes.
__m256i addedBy32(__m256i a, __m256i b) {
    return _mm256_add_epi32(_mm256_unpacklo_epi32(a, b), _mm256_unpackhi_epi32(a, b));
}

// { a0 + a2, a1 + a3, b0 + b2, b1 + b3 } of every four lanes.
__m256i addedBy64(__m256i a, __m256i b) {
    return _mm256_add_epi32(_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b));
}

class Probe {
public:
    struct Sums {
        __m256i ps = _mm256_setzero_si256();
        __m256i ss = _mm256_setzero_si256();
    };

    explicit Probe(const ProbeView& view) : wide_(view.wide) {}

    void addLine(Sums& sums, const std::int8_t* record, std::size_t offset) const {
        for (std::size_t i = offset; i < offset + kCacheLine; i += kStep) {
            const __m256i stored = widened(record + i);
            sums.ps = _mm256_add_epi32(sums.ps, _mm256_madd_epi16(stored, loaded(wide_ + i)));
            sums.ss = _mm256_add_epi32(sums.ss, _mm256_madd_epi16(stored, stored));
        }
    }

    __m128i totals(const Sums& a, const Sums& b) const {
        return halvesAdded(addedBy64(addedBy32(a.ps, a.ss), addedBy32(b.ps, b.ss)));
    }

private:
    const std::int16_t* wide_;
};

bool runsHere() {
    return __builtin_cpu_supports("avx2");
}

}  // namespace

const SearchKernel kAvx2Kernel{"avx2", runsHere, sumInPairs<Probe>};

}  // namespace brairu
