// AVX-512 with VNNI, whose instruction multiplies unsigned by signed bytes and adds four products
// into 32 bits. A record s is made unsigned by adding 128, which then comes off again:
//   sum (s + 128) p = ps + 128 sum p      sum (s + 128) s = ss + 128 sum s
#include <immintrin.h>

#include "match/kernels/kernel.h"

namespace brairu {
namespace {

constexpr std::size_t kStep = 64;
constexpr int kOffsetShift = 7;  // 128

// The two sums of one record, and its plain sum.
class Sums {
public:
    void add(__m512i wanted, __m512i stored) {
        const __m512i raised = _mm512_xor_si512(stored, _mm512_set1_epi8(-128));
        ps_ = _mm512_dpbusd_epi32(ps_, raised, wanted);
        ss_ = _mm512_dpbusd_epi32(ss_, raised, stored);
        plain_ = _mm512_dpbusd_epi32(plain_, _mm512_set1_epi8(1), stored);
    }

    RecordSums total(std::int32_t probeSum) const {
        const __m512i squares = _mm512_sub_epi32(ss_, _mm512_slli_epi32(plain_, kOffsetShift));
        return {_mm512_reduce_add_epi32(ps_) - (probeSum << kOffsetShift),
                _mm512_reduce_add_epi32(squares)};
    }

private:
    __m512i ps_ = _mm512_setzero_si512();
    __m512i ss_ = _mm512_setzero_si512();
    __m512i plain_ = _mm512_setzero_si512();
};

// The first bytes of a vector, and zeros, which add nothing to any sum.
__m512i loadedFirst(const std::int8_t* bytes, std::size_t count) {
    return _mm512_maskz_loadu_epi8((std::uint64_t{1} << count) - 1, bytes);
}

// Bytes that stay in a register: left to itself, g++ loads them again for each use, and twice as
// much where they lie across two cache lines.
__m512i loadedOnce(const std::int8_t* bytes) {
    __m512i vector = _mm512_loadu_si512(bytes);
    asm("" : "+v"(vector));
    return vector;
}

struct Record {
    const std::int8_t* bytes;
    const std::int8_t* upcoming;
};

// Two records side by side, so that additions need not wait for one another.
void sumPair(const ProbeView& probe, Record a, Record b, RecordSums& sumsOfA, RecordSums& sumsOfB) {
    Sums inA;
    Sums inB;
    std::size_t i = 0;
    for (; i + kStep <= probe.length; i += kStep) {
        const __m512i wanted = _mm512_loadu_si512(probe.bytes + i);
        prefetchAt(a.upcoming, i);
        prefetchAt(b.upcoming, i);
        inA.add(wanted, loadedOnce(a.bytes + i));
        inB.add(wanted, loadedOnce(b.bytes + i));
    }
    const std::size_t rest = probe.length - i;
    if (rest > 0) {
        const __m512i wanted = loadedFirst(probe.bytes + i, rest);
        inA.add(wanted, loadedFirst(a.bytes + i, rest));
        inB.add(wanted, loadedFirst(b.bytes + i, rest));
    }
    sumsOfA = inA.total(probe.sum);
    sumsOfB = inB.total(probe.sum);
}

// A last record without another one goes with itself.
void sumRecords(const ProbeView& probe, const std::int8_t* const* records,
                const std::int8_t* const* upcoming, std::size_t count, RecordSums* sums) {
    for (std::size_t i = 0; i < count; i += 2) {
        const std::size_t next = i + 1 < count ? i + 1 : i;
        sumPair(probe, {records[i], upcoming[i]}, {records[next], upcoming[next]}, sums[i],
                sums[next]);
    }
}

bool runsHere() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vnni");
}

}  // namespace

const SearchKernel kAvx512VnniKernel{"avx512vnni", runsHere, sumRecords};

}  // namespace brairu
