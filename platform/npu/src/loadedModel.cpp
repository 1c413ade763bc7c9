#include "loadedModel.h"

#include <algorithm>

#include "onnx/modelReader.h"

namespace brairu::npu {

namespace {

NetInputBlob recordOf(const ValueInfo& input) {
    NetInputBlob record = {};
    input.name.copy(record.name, sizeof record.name - 1);
    for (std::size_t i = 0; i < 3; ++i) {
        record.dims[i] = static_cast<std::uint32_t>(input.dims[3 - i]);
    }
    return record;
}

}  // namespace

LoadedModel::LoadedModel(const void* buffer, std::uint32_t bytes)
    : bytes_(static_cast<const char*>(buffer), bytes) {}

const Model& LoadedModel::description() {
    if (description_ == nullptr)
        description_ = std::make_unique<Model>(readModel(bytes_));
    return *description_;
}

std::shared_ptr<InputRecords> LoadedModel::inputRecords() {
    if (records_ == nullptr) {
        auto records = std::make_shared<InputRecords>();
        for (const ValueInfo& input : description().inputs)
            records->push_back(recordOf(input));
        records_ = std::move(records);
    }
    return records_;
}

}  // namespace brairu::npu
