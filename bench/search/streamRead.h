// Reading memory from one end to the other as fast as it goes, which no search can beat.
#pragma once

#include <cstddef>
#include <cstdint>

namespace brairu::bench {

// Reads every byte with the widest loads of this CPU. The result depends on all of them.
std::uint64_t streamRead(const std::uint8_t* data, std::size_t size);

// The same with loads of one width.
std::uint64_t streamRead16(const std::uint8_t* data, std::size_t size);
std::uint64_t streamRead32(const std::uint8_t* data, std::size_t size);
std::uint64_t streamRead64(const std::uint8_t* data, std::size_t size);

}  // namespace brairu::bench
