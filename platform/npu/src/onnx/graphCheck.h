#pragma once

#include <cstdint>

#include "onnx/model.h"

namespace brairu::npu {

/// What one run of a network takes.
struct GraphCost {
    std::int64_t work = 0;      // multiplications
    std::int64_t elements = 0;  // of all values together
};

/// Follows the graph from its inputs to its outputs and checks every node: allowed operator, inputs
/// that exist, attributes and weights that fit, sizes within limits, every output quantised to
/// signed bytes and shaped as declared. Throws Refusal. The constants' data must be attached.
GraphCost checkGraph(const Model& model);

}  // namespace brairu::npu
