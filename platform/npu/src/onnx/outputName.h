#pragma once

#include <string_view>

namespace brairu::npu {

/// The name that the stack reports for an output: without the suffix that only tells the inference
/// engine to keep the value in signed bytes.
std::string_view reportedName(std::string_view output);

}  // namespace brairu::npu
