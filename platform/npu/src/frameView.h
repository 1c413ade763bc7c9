#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "imageConverter.h"
#include "npu.h"

namespace brairu::npu {

/// A described frame found in device memory. The planes stay valid while this lives.
struct FrameView {
    TwoPlaneFrame planes;
    std::shared_ptr<const std::uint8_t> luma;
    std::shared_ptr<const std::uint8_t> chroma;
};

/// Nothing when the description is impossible or a plane lies outside device memory.
std::optional<FrameView> findFrame(const NpuImageDescriptor& image);

}  // namespace brairu::npu
