#pragma once

#include <cstdint>
#include <new>
#include <numeric>
#include <span>
#include <vector>

#include "match/kernels/kernel.h"

namespace brairu {

// Gives memory in which no vector lies across two cache lines.
template <typename Value>
struct CacheLineAllocator {
    using value_type = Value;

    CacheLineAllocator() = default;
    template <typename Other>
    explicit CacheLineAllocator(const CacheLineAllocator<Other>&) {}

    Value* allocate(std::size_t count) {
        return static_cast<Value*>(::operator new(count * sizeof(Value), kAlignment));
    }
    void deallocate(Value* values, std::size_t) { ::operator delete(values, kAlignment); }
    bool operator==(const CacheLineAllocator&) const = default;

    static constexpr std::align_val_t kAlignment{kCacheLine};
};

// A probe block with what the kernels ask of it again and again. The block must outlive it.
class PreparedProbe {
public:
    explicit PreparedProbe(std::span<const std::int8_t> block)
        : block_(block), wide_(block.begin(), block.end()) {}

    ProbeView view() const {
        return {block_.data(), wide_.data(), block_.size(),
                std::accumulate(wide_.begin(), wide_.end(), 0)};
    }

    std::int32_t sumOfSquares() const {
        return std::inner_product(wide_.begin(), wide_.end(), wide_.begin(), 0);
    }

private:
    std::span<const std::int8_t> block_;
    std::vector<std::int16_t, CacheLineAllocator<std::int16_t>> wide_;
};

}  // namespace brairu
