#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace brairu::tool {

// The usual alphabet, with padding.
std::string base64Of(std::span<const std::uint8_t> bytes);

// size bytes; nothing of a text that is not those in base64, to its end.
std::optional<std::vector<std::uint8_t>> bytesFromBase64(const std::string& text, std::size_t size);

}  // namespace brairu::tool
