#include "search/streamRead.h"

namespace brairu::bench {

std::uint64_t streamRead(const std::uint8_t* data, std::size_t size) {
#if defined(__x86_64__) || defined(__i386__)
    if (__builtin_cpu_supports("avx512f")) {
        return streamRead64(data, size);
    }
    if (__builtin_cpu_supports("avx2")) {
        return streamRead32(data, size);
    }
#endif
    return streamRead16(data, size);
}

}  // namespace brairu::bench
