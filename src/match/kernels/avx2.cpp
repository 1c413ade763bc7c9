// AVX2: bytes are widened to 16 bits, whose products are added in pairs into 32 bits.
#include <immintrin.h>

#include "match/kernels/kernel.h"

namespace brairu {
namespace {

constexpr std::size_t kStep = 16;

__m256i widened(const std::int8_t* bytes) {
    return _mm256_cvtepi8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
}

__m256i loaded(const std::int16_t* values) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(values));
}

std::int32_t total(__m256i lanes) {
    __m128i sum = _mm_add_epi32(_mm256_castsi256_si128(lanes), _mm256_extracti128_si256(lanes, 1));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0b01'00'11'10));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0b10'11'00'01));
    return _mm_cvtsi128_si32(sum);
}

// Two accumulators each, so that additions need not wait for one another.
RecordSums sumRecord(const ProbeView& probe, const std::int8_t* record) {
    __m256i ps[2] = {_mm256_setzero_si256(), _mm256_setzero_si256()};
    __m256i ss[2] = {_mm256_setzero_si256(), _mm256_setzero_si256()};
    std::size_t i = 0;
    for (; i + 2 * kStep <= probe.length; i += 2 * kStep) {
        for (std::size_t half = 0; half < 2; ++half) {
            const __m256i stored = widened(record + i + half * kStep);
            const __m256i wanted = loaded(probe.wide + i + half * kStep);
            ps[half] = _mm256_add_epi32(ps[half], _mm256_madd_epi16(stored, wanted));
            ss[half] = _mm256_add_epi32(ss[half], _mm256_madd_epi16(stored, stored));
        }
    }
    RecordSums sums{total(_mm256_add_epi32(ps[0], ps[1])), total(_mm256_add_epi32(ss[0], ss[1]))};
    addRest(probe, record, i, sums);
    return sums;
}

bool runsHere() {
    return __builtin_cpu_supports("avx2");
}

}  // namespace

const SearchKernel kAvx2Kernel{"avx2", runsHere, sumEach<sumRecord>};

}  // namespace brairu
