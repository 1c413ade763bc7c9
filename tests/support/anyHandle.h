#pragma once

#include <cstddef>

namespace brairu::test {

// A handle that is never looked into.
template <class Handle>
Handle* anyHandle() {
    static std::max_align_t thing;
    return reinterpret_cast<Handle*>(&thing);
}

}  // namespace brairu::test
