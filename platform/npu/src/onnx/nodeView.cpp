#include "onnx/nodeView.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "onnx/refusal.h"

namespace brairu::npu {

NodeView::NodeView(const Node& node, std::vector<const Value*> inputs)
    : node_(node), inputs_(std::move(inputs)), read_(node.attributes.size(), false) {}

void NodeView::requireInputs(std::size_t fewest, std::size_t most) const {
    require(inputs_.size() >= fewest && inputs_.size() <= most, "it has a wrong number of inputs");
}

bool NodeView::has(std::size_t input) const {
    return input < inputs_.size() && inputs_[input] != nullptr;
}

const Value& NodeView::value(std::size_t input) const {
    require(has(input), "a needed input is missing");
    return *inputs_[input];
}

const Value& NodeView::activation(std::size_t input) const {
    const Value& found = value(input);
    require(found.kind == Value::Kind::kActivation, "an input is not a computed float value");
    return found;
}

const Value& NodeView::activation(std::size_t input, std::size_t rank) const {
    const Value& found = activation(input);
    require(found.dims.size() == rank, "an input has a wrong number of dimensions");
    return found;
}

const ConstantTensor& NodeView::constant(std::size_t input, ElementType type) const {
    const Value& found = value(input);
    require(found.kind == Value::Kind::kConstant, "an input is not constant");
    require(found.constant->type == type, "a constant input has a wrong element type");
    return *found.constant;
}

Dims NodeView::integersOf(std::size_t input) const {
    const ConstantTensor& list = constant(input, ElementType::kInt64);
    require(list.dims.size() == 1, "a constant list of numbers has a wrong shape");
    Dims values(list.data.size() / sizeof(std::int64_t));
    if (!values.empty())
        std::memcpy(values.data(), list.data.data(), list.data.size());
    return values;
}

const Attribute* NodeView::find(std::string_view name, AttributeType type) {
    const auto found = std::find_if(node_.attributes.begin(), node_.attributes.end(),
                                    [name](const Attribute& a) { return a.name == name; });
    if (found == node_.attributes.end())
        return nullptr;
    require(found->type == type, "attribute " + std::string(name) + " has a wrong type");
    read_[static_cast<std::size_t>(found - node_.attributes.begin())] = true;
    return &*found;
}

std::int64_t NodeView::integer(std::string_view name, std::int64_t fallback) {
    const Attribute* attribute = find(name, AttributeType::kInt);
    return attribute == nullptr ? fallback : attribute->integer;
}

Dims NodeView::integers(std::string_view name, const Dims& fallback) {
    const Attribute* attribute = find(name, AttributeType::kInts);
    return attribute == nullptr ? fallback : attribute->integers;
}

float NodeView::real(std::string_view name, float fallback) {
    const Attribute* attribute = find(name, AttributeType::kFloat);
    return attribute == nullptr ? fallback : attribute->real;
}

std::string NodeView::text(std::string_view name, std::string_view fallback) {
    const Attribute* attribute = find(name, AttributeType::kString);
    return std::string(attribute == nullptr ? fallback : attribute->text);
}

void NodeView::requireAllRead() const {
    for (std::size_t i = 0; i < read_.size(); ++i) {
        require(read_[i], "attribute " + std::string(node_.attributes[i].name) + " is unsupported");
    }
}

}  // namespace brairu::npu
