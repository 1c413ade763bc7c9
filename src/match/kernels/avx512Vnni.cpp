// AVX-512 with VNNI, whose instruction multiplies unsigned by signed bytes and adds four products
// into 32 bits. A record s is made unsigned by adding 128, which then comes off again:
//   sum (s + 128) p = ps + 128 sum p      sum (s + 128) s = ss + 128 sum s
#include "match/kernels/pairLoop.h"

namespace brairu {
namespace {

constexpr int kOffsetShift = 7;  // 128

// Bytes that stay in a register: left to itself, g++ loads them again for each use, and twice as
// much where they lie across two cache lines.
__m512i loadedOnce(const std::int8_t* bytes) {
    __m512i vector = _mm512_loadu_si512(bytes);
    asm("" : "+v"(vector));
    return vector;
}

// { a0 + a2, b0 + b2, a1 + a3, b1 + b3 } of every four lanes.
__m512i addedBy32(__m512i a, __m512i b) {
    return _mm512_add_epi32(_mm512_unpacklo_epi32(a, b), _mm512_unpackhi_epi32(a, b));
}

// { a0 + a2, a1 + a3, b0 + b2, b1 + b3 } of every four lanes.
__m512i addedBy64(__m512i a, __m512i b) {
    return _mm512_add_epi32(_mm512_unpacklo_epi64(a, b), _mm512_unpackhi_epi64(a, b));
}

// A probe in registers.
class Probe {
public:
    struct Sums {
        __m512i ps = _mm512_setzero_si512();
        __m512i ss = _mm512_setzero_si512();
        __m512i plain = _mm512_setzero_si512();  // of the record's values
    };

    explicit Probe(const ProbeView& view)
        : excess_(_mm_setr_epi32(view.sum << kOffsetShift, 0, view.sum << kOffsetShift, 0)) {
        for (std::size_t line = 0; line < kLines; ++line) {
            lines_[line] = _mm512_loadu_si512(view.bytes + line * kCacheLine);
        }
    }

    void addLine(Sums& sums, const std::int8_t* record, std::size_t offset) const {
        const __m512i stored = loadedOnce(record + offset);
        const __m512i raised = _mm512_xor_si512(stored, _mm512_set1_epi8(-128));
        sums.ps = _mm512_dpbusd_epi32(sums.ps, raised, lines_[offset / kCacheLine]);
        sums.ss = _mm512_dpbusd_epi32(sums.ss, raised, stored);
        sums.plain = _mm512_dpbusd_epi32(sums.plain, _mm512_set1_epi8(1), stored);
    }

    __m128i totals(const Sums& a, const Sums& b) const {
        const __m512i lanes = addedBy64(inTurn(a), inTurn(b));
        const __m256i half =
            _mm256_add_epi32(_mm512_castsi512_si256(lanes), _mm512_extracti64x4_epi64(lanes, 1));
        return _mm_sub_epi32(halvesAdded(half), excess_);
    }

private:
    static constexpr std::size_t kLines = kWholeBlock / kCacheLine;

    // Products and squares in turn.
    static __m512i inTurn(const Sums& sums) {
        const __m512i excess = _mm512_slli_epi32(sums.plain, kOffsetShift);
        return addedBy32(sums.ps, _mm512_sub_epi32(sums.ss, excess));
    }

    __m512i lines_[kLines]{};
    __m128i excess_;
};

bool runsHere() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vnni");
}

}  // namespace

const SearchKernel kAvx512VnniKernel{"avx512vnni", runsHere, sumInPairs<Probe>};

}  // namespace brairu
