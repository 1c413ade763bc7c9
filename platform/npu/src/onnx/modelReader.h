#pragma once

#include <string_view>

#include "onnx/model.h"

namespace brairu::npu {

/// Reads a sealed network description: checks the seal, parses all of it and checks the declared
/// inputs ([1, C, H, W], C 1 or 3). Constant nodes become constants. Throws Refusal.
/// The result points into net.
Model readModel(std::string_view net);

}  // namespace brairu::npu
