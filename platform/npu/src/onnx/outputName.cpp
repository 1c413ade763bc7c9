#include "onnx/outputName.h"

namespace brairu::npu {

std::string_view reportedName(std::string_view output) {
    constexpr std::string_view kSuffix = "_quantized";
    if (output.ends_with(kSuffix))
        output.remove_suffix(kSuffix.size());
    return output;
}

}  // namespace brairu::npu
