// ARM's dot-product instruction (SDOT): four products of signed bytes at a time into 32 bits.
#include <sys/auxv.h>

#include "match/kernels/neonLoop.h"

namespace brairu {
namespace {

// The bit of AT_HWCAP in which Linux reports it; system headers of 32-bit ARM lack the name.
#if defined(__arm__)
constexpr unsigned long kDotProductBit = 1ul << 24;
#else
constexpr unsigned long kDotProductBit = 1ul << 20;
#endif

int32x4_t plusProducts(int32x4_t sums, int8x16_t a, int8x16_t b) {
    return vdotq_s32(sums, a, b);
}

bool runsHere() {
    return (getauxval(AT_HWCAP) & kDotProductBit) != 0;
}

}  // namespace

const SearchKernel kDotProductKernel{"dotproduct", runsHere, sumEach<sumRecordBy16<plusProducts>>};

}  // namespace brairu
