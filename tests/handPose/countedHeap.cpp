#include "countedHeap.h"

#include <cerrno>
#include <cstddef>

#include "support/interposing.h"

// glibc lets a program replace malloc and its family and keeps its own under other names.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

constinit thread_local int allocations = 0;

}  // namespace

int brairu::test::allocationsOf(const std::function<void()>& call) {
    const int before = allocations;
    call();
    return allocations - before;
}

BRAIRU_INTERPOSED void* malloc(std::size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

BRAIRU_INTERPOSED void* calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}

BRAIRU_INTERPOSED void* realloc(void* memory, std::size_t size) {
    ++allocations;
    return __libc_realloc(memory, size);
}

BRAIRU_INTERPOSED void* memalign(std::size_t alignment, std::size_t size) {
    ++allocations;
    return __libc_memalign(alignment, size);
}

BRAIRU_INTERPOSED void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

BRAIRU_INTERPOSED int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}
