#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace brairu::tool {

// BLAKE2b-256 of the bytes, in hex.
std::string checksumOf(std::span<const std::uint8_t> bytes);

}  // namespace brairu::tool
