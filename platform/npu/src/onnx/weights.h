#pragma once

#include <cstdint>
#include <string_view>

#include "onnx/model.h"

namespace brairu::npu {

/// Product of dims, each at least 0. Throws Refusal for a negative one or a product over limit.
std::int64_t elementCount(const Dims& dims, std::int64_t limit);

/// Points every constant at its bytes: external ones at their range of blobs. Checks the digest of
/// blobs that the description carries and every tensor's byte length. Throws Refusal.
void attachWeights(Model& model, std::string_view blobs);

}  // namespace brairu::npu
