// The heap under fault injection. glibc lets a program replace malloc and its family and keeps its
// own under other names.
#include <atomic>
#include <cerrno>
#include <cstddef>

#include "faultInjection.h"
#include "jsonDestructor.h"
#include "support/interposing.h"

using brairu::test::FaultKind;
using brairu::test::faultStrikes;
using brairu::test::heapIsAside;

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace {

constinit std::atomic<std::int64_t> blocks = 0;

bool fails() {
    return !heapIsAside() && faultStrikes(FaultKind::heap, "malloc") &&
           !brairu::test::insideJsonDestructor();
}

void* counted(void* memory) {
    if (memory == nullptr) {
        errno = ENOMEM;
    } else if (!heapIsAside()) {
        ++blocks;
    }
    return memory;
}

}  // namespace

std::int64_t brairu::test::liveHeapBlocks() {
    return blocks;
}

BRAIRU_INTERPOSED void* malloc(std::size_t size) {
    return counted(fails() ? nullptr : __libc_malloc(size));
}

BRAIRU_INTERPOSED void* calloc(std::size_t count, std::size_t size) {
    return counted(fails() ? nullptr : __libc_calloc(count, size));
}

BRAIRU_INTERPOSED void* memalign(std::size_t alignment, std::size_t size) {
    return counted(fails() ? nullptr : __libc_memalign(alignment, size));
}

BRAIRU_INTERPOSED void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

BRAIRU_INTERPOSED int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}

BRAIRU_INTERPOSED void* realloc(void* memory, std::size_t size) {
    if (memory == nullptr) {
        return malloc(size);
    }
    return fails() ? nullptr : __libc_realloc(memory, size);
}

BRAIRU_INTERPOSED void free(void* memory) {
    if (memory != nullptr && !heapIsAside()) {
        --blocks;
    }
    __libc_free(memory);
}
