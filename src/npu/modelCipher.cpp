#include "npu/modelCipher.h"

#include <sodium.h>

#include <string_view>

namespace brairu {
namespace {

static_assert(kNonceBytes == crypto_stream_chacha20_NONCEBYTES);
static_assert(kModelKeyBytes == crypto_stream_chacha20_KEYBYTES);

// The key never stands whole in the library: it is three slices of these texts.
constexpr std::string_view kFirstText = "graph input [u7Rk0wVzQ] bound to its tensor";
constexpr std::string_view kSecondText = "kernel missing:3hXm9LpYcT for this network";
constexpr std::string_view kThirdText = "device memory not aligned: q8JdS1fGvN5bZ units left";

std::string_view slice(std::string_view text, std::size_t first, std::size_t last) {
    return text.substr(first, last - first + 1);
}

}  // namespace

ModelKey::~ModelKey() {
    sodium_memzero(text_.data(), text_.size());
}

ModelKey assembleModelKey() {
    std::string key;
    key.reserve(kModelKeyBytes);
    key += slice(kFirstText, 13, 21);
    key += slice(kSecondText, 15, 24);
    key += slice(kThirdText, 27, 39);
    return ModelKey(std::move(key));
}

void applyModelCipher(std::span<std::uint8_t> chunk, const ModelNonce& nonce, const ModelKey& key) {
    crypto_stream_chacha20_xor(chunk.data(), chunk.data(), chunk.size(), nonce.data(), key.bytes());
}

}  // namespace brairu
