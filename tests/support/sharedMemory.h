#pragma once

#include <sys/mman.h>

#include <new>

namespace brairu::test {

// An object in memory that this process and its later children share, until somebody unmaps it.
template <class Object>
Object& sharedWithChildren() {
    void* const memory =
        ::mmap(nullptr, sizeof(Object), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    return *new (memory) Object{};
}

}  // namespace brairu::test
