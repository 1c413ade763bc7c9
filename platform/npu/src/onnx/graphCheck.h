#pragma once

#include "onnx/model.h"

namespace brairu::npu {

/// Follows the graph from its inputs to its outputs and checks every node: allowed operator, inputs
/// that exist, attributes and weights that fit, sizes within limits, every output quantised to
/// signed bytes and shaped as declared. Throws Refusal. The constants' data must be attached.
void checkGraph(const Model& model);

}  // namespace brairu::npu
