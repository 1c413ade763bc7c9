#include "checksum.h"

#include <sodium.h>

#include <array>

namespace brairu::tool {

std::string checksumOf(std::span<const std::uint8_t> bytes) {
    std::array<std::uint8_t, crypto_generichash_BYTES> hash{};
    crypto_generichash(hash.data(), hash.size(), bytes.data(), bytes.size(), nullptr, 0);
    std::array<char, 2 * crypto_generichash_BYTES + 1> hex{};
    return sodium_bin2hex(hex.data(), hex.size(), hash.data(), hash.size());
}

}  // namespace brairu::tool
