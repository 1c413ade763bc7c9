#pragma once

#include <unistd.h>

#include <cstdlib>

namespace brairu::test {

// Temporary folders lie in memory from here on, where the system has such a place and nobody chose
// another: for what writes much and depends on no real disk.
inline void preferMemory() {
    constexpr const char* kMemory = "/dev/shm";
    if (::access(kMemory, W_OK) == 0) {
        ::setenv("TMPDIR", kMemory, 0);
    }
}

}  // namespace brairu::test
