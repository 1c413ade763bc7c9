// The layout of one stored template and of the blocks in it. Persisted: do not change.
#pragma once

#include <cstddef>
#include <cstdint>

#include "brairu.h"

namespace brairu {

inline constexpr std::size_t kBlockBytes = PVA_FEATURE_BLOCK_BYTES;
inline constexpr std::size_t kBlocks = 3;
inline constexpr std::size_t kFeatureBytes = PVA_FEATURE_BYTES;
inline constexpr std::size_t kTemplateBytes = PVA_TEMPLATE_BYTES;

// The ten bytes behind the blocks of a template: two 32-bit words and one of 16 bits, all
// little-endian.
struct TemplateTrailer {
    std::uint32_t word0 = 0;
    std::uint32_t word1 = 0;
    std::uint16_t word2 = 0;
};

// An enrolled palm's learn_count starts here.
inline constexpr int kInitialLearnCount = 50;

// The feature cache mirrors the rows with ids 1 to 10000.
inline constexpr std::int64_t kMirroredPalms = 10000;

}  // namespace brairu
