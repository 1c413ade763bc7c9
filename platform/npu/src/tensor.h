#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "deviceMemory.h"
#include "inferenceNet.h"

namespace brairu::npu {

using TensorDims = std::array<std::uint32_t, 4>;  // width, height, channels, batch

/// Bytes with dimensions: either a view of device memory that somebody else owns, or one result of
/// a run, which it owns.
class Tensor {
public:
    Tensor(const std::uint32_t (&dims)[3], const std::shared_ptr<DeviceMemory>& memory);
    explicit Tensor(const OutputBytes& output);

    const TensorDims& dims() const { return dims_; }
    std::uint32_t bytes() const { return bytes_; }
    /// The data, null once the memory behind it was freed. The result keeps it alive.
    std::shared_ptr<std::uint8_t> data();

private:
    TensorDims dims_;
    std::uint32_t bytes_;
    std::weak_ptr<DeviceMemory> memory_;
    std::shared_ptr<std::vector<std::uint8_t>> result_;
};

/// Byte size of a tensor of one-byte elements, 0 when a dimension is 0 or the size is unreasonable.
std::uint32_t tensorBytes(const std::uint32_t (&dims)[3]);

}  // namespace brairu::npu
