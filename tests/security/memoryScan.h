// Looks for a secret in this process's own memory without holding it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace brairu::test {

// A secret, each byte of it exclusive-or kMask.
inline constexpr std::uint8_t kMask = 0x5a;
using MaskedKey = std::array<std::uint8_t, 32>;

// As few bytes in a row count as a piece of the secret.
inline constexpr std::size_t kPieceBytes = 8;

// How many pieces of the secret stand in a text.
std::size_t piecesIn(std::span<const std::uint8_t> text, const MaskedKey& masked);

struct ScanResult {
    std::size_t bytesRead = 0;
    std::size_t pieces = 0;
};

// Reads every writable page of the process, and takes none from the heap before it has.
ScanResult scanOwnMemory(const MaskedKey& masked);

}  // namespace brairu::test
