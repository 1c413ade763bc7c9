// NEON, on 32-bit and 64-bit ARM: products of bytes in 16 bits, added in pairs into 32 bits. Two
// products must not meet in 16 bits: twice -128 times -128 is too large.
#include <sys/auxv.h>

#include "match/kernels/neonLoop.h"

namespace brairu {
namespace {

int32x4_t plusProducts(int32x4_t sums, int8x16_t a, int8x16_t b) {
    sums = vpadalq_s16(sums, vmull_s8(vget_low_s8(a), vget_low_s8(b)));
    return vpadalq_s16(sums, vmull_s8(vget_high_s8(a), vget_high_s8(b)));
}

// 64-bit ARM always has it; 32-bit Linux reports it in this bit of AT_HWCAP.
bool runsHere() {
#if defined(__arm__)
    constexpr unsigned long kNeonBit = 1ul << 12;
    return (getauxval(AT_HWCAP) & kNeonBit) != 0;
#else
    return true;
#endif
}

}  // namespace

const SearchKernel kNeonKernel{"neon", runsHere, sumEach<sumRecordBy16<plusProducts>>};

}  // namespace brairu
