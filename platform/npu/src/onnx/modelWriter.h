#pragma once

#include <string>

#include "onnx/model.h"

namespace brairu::npu {

/// The model as one self-contained ONNX file, every constant inline. It is written anew from what
/// was read and checked, so nothing that went unchecked reaches the inference engine.
std::string writeModel(const Model& model);

}  // namespace brairu::npu
