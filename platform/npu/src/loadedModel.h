#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "npu.h"
#include "onnx/model.h"

namespace brairu::npu {

using InputRecords = std::vector<NetInputBlob>;

/// One model file in memory: a network description or its weights. Which of the two shows only
/// when it is used.
class LoadedModel {
public:
    LoadedModel(const void* buffer, std::uint32_t bytes);

    std::string_view bytes() const { return bytes_; }
    /// The bytes read as a description. Throws Refusal.
    const Model& description();
    /// The input records, made on the first call. Throws Refusal.
    std::shared_ptr<InputRecords> inputRecords();

private:
    std::string bytes_;
    std::unique_ptr<Model> description_;
    std::shared_ptr<InputRecords> records_;
};

}  // namespace brairu::npu
