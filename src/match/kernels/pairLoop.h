// The loop that the x86 kernels share: over records of a whole block, two of them side by side, so
// that additions need not wait for one another. Shorter and longer ones go the plain way.
#pragma once

#include <immintrin.h>

#include <cstring>

#include "match/kernels/kernel.h"

namespace brairu {

// Adds up one or two records, a cache line of each in turn. A kernel's Probe adds the products of
// lines to its Sums, and gives the totals of two of these as RecordSums in a row. The compiler knows
// which kernel's loop to unroll: doing so by force has it run out of registers in AVX2's.
template <typename Probe, std::size_t kCount>
static void sumTogether(const Probe& probe, const std::int8_t* const* records,
                        const std::int8_t* const* upcoming, RecordSums* sums) {
    typename Probe::Sums added[kCount];
    for (std::size_t offset = 0; offset < kWholeBlock; offset += kCacheLine) {
        for (std::size_t i = 0; i < kCount; ++i) {
            prefetchAt(upcoming[i], offset);
            probe.addLine(added[i], records[i], offset);
        }
    }
    static_assert(2 * sizeof(RecordSums) == sizeof(__m128i));
    const __m128i totals = probe.totals(added[0], added[kCount - 1]);
    std::memcpy(sums, &totals, kCount * sizeof *sums);
}

template <typename Probe>
static void sumInPairs(const ProbeView& view, const std::int8_t* const* records,
                       const std::int8_t* const* upcoming, std::size_t count, RecordSums* sums) {
    if (view.length != kWholeBlock) {
        kScalarKernel.sumRecords(view, records, upcoming, count, sums);
        return;
    }
    const Probe probe(view);
    std::size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        sumTogether<Probe, 2>(probe, records + i, upcoming + i, sums + i);
    }
    if (i < count) {
        sumTogether<Probe, 1>(probe, records + i, upcoming + i, sums + i);
    }
}

static inline __m128i halvesAdded(__m256i lanes) {
    return _mm_add_epi32(_mm256_castsi256_si128(lanes), _mm256_extracti128_si256(lanes, 1));
}

}  // namespace brairu
