#include "onnx/seal.h"

#include <sodium.h>

#include <array>

#include "onnx/refusal.h"

namespace brairu::npu {

namespace {

constexpr std::size_t kSealBytes = std::size_t{2} * crypto_hash_sha256_BYTES;

}  // namespace

std::string sha256Hex(std::string_view bytes) {
    std::array<unsigned char, crypto_hash_sha256_BYTES> digest{};
    crypto_hash_sha256(digest.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                       bytes.size());
    std::array<char, kSealBytes + 1> text{};
    sodium_bin2hex(text.data(), text.size(), digest.data(), digest.size());
    return text.data();
}

void checkSeal(std::string_view net) {
    require(net.size() > kSealBytes, "the description is too short");
    const std::size_t body = net.size() - kSealBytes;
    require(sha256Hex(net.substr(0, body)) == net.substr(body),
            "the description is damaged: its seal does not match");
}

}  // namespace brairu::npu
