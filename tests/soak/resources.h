// What a process holds.
#pragma once

#include <cstdint>
#include <string>

namespace brairu::test {

struct Resources {
    std::int64_t residentKiB = 0;
    std::int64_t heapBytes = 0;  // handed out by the C allocator; exact without its thread cache
    std::int64_t descriptors = 0;
    std::int64_t mappings = 0;
    std::int64_t statements = 0;  // of SQLite, and open blobs
    std::int64_t connections = 0;
    std::int64_t npuHandles = 0;
};

Resources resourcesNow();

// How far each may differ from what it was after the warm-up.
inline constexpr Resources kTolerance{1024, 2 * 1024, 0, 2, 0, 0, 0};

// Names what has drifted; empty when nothing has.
std::string drift(const Resources& warm, const Resources& now);

}  // namespace brairu::test
