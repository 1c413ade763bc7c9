#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace brairu::test {

// The key that every model container in the field was made with.
inline constexpr std::string_view kFieldKey = "u7Rk0wVzQ3hXm9LpYcTq8JdS1fGvN5bZ";
inline constexpr std::array<std::uint8_t, 8> kSomeNonce{0x11, 0x22, 0x33, 0x44,
                                                        0x55, 0x66, 0x77, 0x88};

// The container of a model: the nonce, then the model XORed, byte by byte, with keystream byte
// (index modulo 1024).
std::string sealedModel(std::string_view model,
                        const std::array<std::uint8_t, 8>& nonce = kSomeNonce,
                        std::string_view key = kFieldKey);

}  // namespace brairu::test
