// The inner loop of the 1:N search, once for each instruction set: the integer sums of a probe and
// a batch of stored records. All kernels give the same sums; the CPU decides which one runs.
//
// Files of kernels are compiled for CPUs that this one may not be. So that nothing of them is ever
// linked into code for every CPU, they use no inline function but the static ones next to them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace brairu {

// A probe as the kernels want it, prepared once for a search. Points into a PreparedProbe.
struct ProbeView {
    const std::int8_t* bytes;
    const std::int16_t* wide;  // the same values
    std::size_t length;
    std::int32_t sum;  // of the values
};

// The length of nearly every record, which some kernels are made for.
constexpr std::size_t kWholeBlock = 512;

constexpr std::size_t kCacheLine = 64;

struct RecordSums {
    std::int32_t ps;  // probe times record
    std::int32_t ss;  // record times record

    bool operator==(const RecordSums&) const = default;
};

// Sums of count records of the probe's length, at any addresses. While at record i, upcoming[i] is
// brought towards the CPU; it may be null.
using SumRecords = void (*)(const ProbeView& probe, const std::int8_t* const* records,
                            const std::int8_t* const* upcoming, std::size_t count,
                            RecordSums* sums);

struct SearchKernel {
    const char* name;
    bool (*runsHere)();
    SumRecords sumRecords;
};

extern const SearchKernel kScalarKernel;
extern const SearchKernel kAvx2Kernel;
extern const SearchKernel kAvx512VnniKernel;
extern const SearchKernel kNeonKernel;
extern const SearchKernel kDotProductKernel;

// Addresses as numbers: a null record has none beside it, and fetching it does no harm.
static inline void prefetchAt(const std::int8_t* record, std::size_t offset) {
    const auto first = reinterpret_cast<std::uintptr_t>(record);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): only the address counts
    __builtin_prefetch(reinterpret_cast<const void*>(first + offset));
}

static inline void prefetchRecord(const std::int8_t* record, std::size_t length) {
    for (std::size_t offset = 0; offset < length; offset += kCacheLine) {
        prefetchAt(record, offset);
    }
}

// A kernel of a function for one record.
template <RecordSums (*sumRecord)(const ProbeView&, const std::int8_t*)>
static void sumEach(const ProbeView& probe, const std::int8_t* const* records,
                    const std::int8_t* const* upcoming, std::size_t count, RecordSums* sums) {
    for (std::size_t i = 0; i < count; ++i) {
        prefetchRecord(upcoming[i], probe.length);
        sums[i] = sumRecord(probe, records[i]);
    }
}

// Adds the sums of the elements from first on, which a vector loop left over.
static inline void addRest(const ProbeView& probe, const std::int8_t* record, std::size_t first,
                           RecordSums& sums) {
    for (std::size_t i = first; i < probe.length; ++i) {
        sums.ps += probe.bytes[i] * record[i];
        sums.ss += record[i] * record[i];
    }
}

}  // namespace brairu
