#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "onnx/model.h"

namespace brairu::npu {

/// What flows along one edge of the graph, as far as the checks need to know it.
struct Value {
    enum class Kind { kActivation, kConstant, kNorm, kQuantized };

    Kind kind = Kind::kActivation;
    Dims dims;
    const ConstantTensor* constant = nullptr;  // of a kConstant
    const Value* normOf = nullptr;             // of a kNorm: the value whose length it is
    std::int64_t work = 0;                     // multiplications spent on it
};

/// One node with its inputs resolved. The accessors throw Refusal for what is missing or of another
/// kind. Every attribute that an operator's rule does not ask for is refused by requireAllRead.
class NodeView {
public:
    /// A null input stands for an omitted one.
    NodeView(const Node& node, std::vector<const Value*> inputs);

    void requireInputs(std::size_t fewest, std::size_t most) const;
    bool has(std::size_t input) const;
    const Value& value(std::size_t input) const;
    const Value& activation(std::size_t input) const;
    const Value& activation(std::size_t input, std::size_t rank) const;
    const ConstantTensor& constant(std::size_t input, ElementType type) const;
    /// The elements of a constant INT64 list.
    Dims integersOf(std::size_t input) const;

    std::int64_t integer(std::string_view name, std::int64_t fallback);
    Dims integers(std::string_view name, const Dims& fallback);
    float real(std::string_view name, float fallback);
    std::string text(std::string_view name, std::string_view fallback);
    void requireAllRead() const;

    const Node& node() const { return node_; }

private:
    const Attribute* find(std::string_view name, AttributeType type);

    const Node& node_;
    std::vector<const Value*> inputs_;
    std::vector<bool> read_;
};

}  // namespace brairu::npu
