#pragma once

#include <string_view>

#include "onnx/nodeView.h"

namespace brairu::npu {

/// Largest number of elements of any value in a network.
constexpr std::int64_t kElementsMax = std::int64_t{1} << 26;

/// Checks one node's inputs and attributes and returns what it computes. Throws Refusal.
using OpRule = Value (*)(NodeView& node);

/// The rule of an operator, null for one that is not allowed.
OpRule opRule(std::string_view op);

}  // namespace brairu::npu
