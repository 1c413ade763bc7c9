#include "search/streamLoop.h"
#include "search/streamRead.h"

namespace brairu::bench {
namespace {

using Lanes [[gnu::vector_size(32)]] = std::uint64_t;

}  // namespace

std::uint64_t streamRead32(const std::uint8_t* data, std::size_t size) {
    return streamLoop<Lanes>(data, size);
}

}  // namespace brairu::bench
