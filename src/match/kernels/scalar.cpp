// Plain C++ for every CPU, and the reference for the other kernels.
#include "match/kernels/kernel.h"

namespace brairu {
namespace {

RecordSums sumRecord(const ProbeView& probe, const std::int8_t* record) {
    RecordSums sums{0, 0};
    addRest(probe, record, 0, sums);
    return sums;
}

bool runsHere() {
    return true;
}

}  // namespace

const SearchKernel kScalarKernel{"scalar", runsHere, sumEach<sumRecord>};

}  // namespace brairu
