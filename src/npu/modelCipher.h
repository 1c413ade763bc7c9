// The cipher of the model containers.
//
//   offset 0   8 bytes of nonce
//   offset 8   the model, enciphered in chunks of 1024 bytes
//
// Every chunk is XORed with the same ChaCha20 keystream (64-bit nonce, counter 0, D. J. Bernstein,
// "ChaCha, a variant of Salsa20", 2008), the last, short one with its beginning. The format is
// fixed; it keeps models from casual eyes and authenticates nothing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

namespace brairu {

inline constexpr std::size_t kNonceBytes = 8;
inline constexpr std::size_t kChunkBytes = 1024;
inline constexpr std::size_t kModelKeyBytes = 32;

using ModelNonce = std::array<std::uint8_t, kNonceBytes>;

// Key material that is wiped when it goes.
class ModelKey {
public:
    explicit ModelKey(std::string text) : text_(std::move(text)) {}
    ~ModelKey();
    ModelKey(const ModelKey&) = delete;
    ModelKey& operator=(const ModelKey&) = delete;

    bool hasRightLength() const { return text_.size() == kModelKeyBytes; }
    const std::uint8_t* bytes() const {
        return reinterpret_cast<const std::uint8_t*>(text_.data());
    }

private:
    std::string text_;
};

// The key of every shipped model, put together anew at each call.
ModelKey assembleModelKey();

// Enciphers or deciphers, which is the same, one chunk in place.
void applyModelCipher(std::span<std::uint8_t> chunk, const ModelNonce& nonce, const ModelKey& key);

}  // namespace brairu
