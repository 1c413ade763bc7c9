#pragma once

#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

namespace brairu::npu {

using Dims = std::vector<std::int64_t>;

enum class ElementType : std::int32_t { kFloat = 1, kUint8 = 2, kInt8 = 3, kInt64 = 7 };

/// Where a tensor's bytes lie in the weights file.
struct WeightRange {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

/// A constant. data is set from the start when the description itself holds the bytes, otherwise
/// attachWeights sets it.
struct ConstantTensor {
    std::string_view name;
    ElementType type = ElementType::kFloat;
    Dims dims;
    bool external = false;
    WeightRange range;
    std::string_view data;
};

enum class AttributeType : std::int32_t {
    kFloat = 1,
    kInt = 2,
    kString = 3,
    kTensor = 4,
    kFloats = 6,
    kInts = 7
};

struct Attribute {
    std::string_view name;
    AttributeType type = AttributeType::kInt;
    float real = 0.0F;
    std::int64_t integer = 0;
    std::string_view text;
    ConstantTensor tensor;
    std::vector<float> reals;
    Dims integers;
};

struct Node {
    std::string_view op;
    std::vector<std::string_view> inputs;
    std::vector<std::string_view> outputs;
    std::vector<Attribute> attributes;
};

/// A graph input or output as declared.
struct ValueInfo {
    std::string_view name;
    ElementType type = ElementType::kFloat;
    Dims dims;
};

/// A network description. All views point into the bytes that it was read from.
struct Model {
    std::int64_t irVersion = 0;
    std::vector<std::int64_t> opsets;
    std::vector<Node> nodes;
    std::vector<ConstantTensor> constants;
    std::vector<ValueInfo> inputs;
    std::vector<ValueInfo> outputs;
    std::map<std::string_view, std::string_view> metadata;
};

}  // namespace brairu::npu
