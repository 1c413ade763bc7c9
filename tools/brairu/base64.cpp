#include "base64.h"

#include <sodium.h>

namespace brairu::tool {
namespace {

constexpr int kVariant = sodium_base64_VARIANT_ORIGINAL;

}  // namespace

std::string base64Of(std::span<const std::uint8_t> bytes) {
    std::string text(sodium_base64_encoded_len(bytes.size(), kVariant), '\0');
    sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), kVariant);
    text.pop_back();  // the terminating zero
    return text;
}

std::optional<std::vector<std::uint8_t>> bytesFromBase64(const std::string& text,
                                                         std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    std::size_t found = 0;
    const char* end = nullptr;
    const bool valid = sodium_base642bin(bytes.data(), bytes.size(), text.data(), text.size(),
                                         nullptr, &found, &end, kVariant) == 0;
    return valid && found == size && end == text.data() + text.size() ? std::optional(bytes)
                                                                      : std::nullopt;
}

}  // namespace brairu::tool
