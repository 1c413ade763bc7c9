#pragma once

#include <cstdint>
#include <numeric>
#include <span>
#include <vector>

#include "match/kernels/kernel.h"

namespace brairu {

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
    std::vector<std::int16_t> wide_;
};

}  // namespace brairu
