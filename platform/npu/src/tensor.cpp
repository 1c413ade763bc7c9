#include "tensor.h"

namespace brairu::npu {

namespace {

constexpr std::uint64_t kTensorBytesMax = std::uint64_t{1} << 28;

}  // namespace

Tensor::Tensor(const std::uint32_t (&dims)[3], const std::shared_ptr<DeviceMemory>& memory)
    : dims_{dims[0], dims[1], dims[2], 1}, bytes_(tensorBytes(dims)), memory_(memory) {}

Tensor::Tensor(const OutputBytes& output)
    : dims_(std::to_array(output.dims)),
      bytes_(static_cast<std::uint32_t>(output.data.size())),
      result_(std::make_shared<std::vector<std::uint8_t>>(output.data)) {}

std::shared_ptr<std::uint8_t> Tensor::data() {
    if (result_ != nullptr)
        return {result_, result_->data()};
    const std::shared_ptr<DeviceMemory> memory = memory_.lock();
    if (memory == nullptr)
        return nullptr;
    return {memory, memory->data()};
}

std::uint32_t tensorBytes(const std::uint32_t (&dims)[3]) {
    std::uint64_t bytes = 1;
    for (const std::uint32_t dim : dims) {
        bytes *= dim;
        if (bytes == 0 || bytes > kTensorBytesMax)
            return 0;
    }
    return static_cast<std::uint32_t>(bytes);
}

}  // namespace brairu::npu
