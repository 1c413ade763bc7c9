#include "onnx/graphCheck.h"

#include <map>
#include <string>
#include <vector>

#include "onnx/nodeView.h"
#include "onnx/opRules.h"
#include "onnx/outputName.h"
#include "onnx/refusal.h"
#include "onnx/weights.h"

namespace brairu::npu {

namespace {

constexpr std::size_t kOutputsMax = 16;
constexpr std::int64_t kWorkMax = std::int64_t{1} << 36;
constexpr std::int64_t kTotalElementsMax = std::int64_t{1} << 28;

class GraphChecker {
public:
    GraphCost check(const Model& model) {
        for (const ValueInfo& input : model.inputs)
            addInput(input);
        for (const ConstantTensor& constant : model.constants)
            addConstant(constant);
        for (const Node& node : model.nodes)
            addNode(node);
        require(!model.outputs.empty() && model.outputs.size() <= kOutputsMax,
                "the number of outputs is out of range");
        for (const ValueInfo& output : model.outputs)
            checkOutput(output);
        return cost_;
    }

private:
    void add(std::string_view name, Value value) {
        require(!name.empty(), "a value has no name");
        require(values_.emplace(name, std::move(value)).second,
                "the name " + std::string(name) + " is used twice");
    }

    void addInput(const ValueInfo& input) {
        Value value;
        value.dims = input.dims;
        add(input.name, std::move(value));
    }

    void addConstant(const ConstantTensor& constant) {
        Value value;
        value.kind = Value::Kind::kConstant;
        value.dims = constant.dims;
        value.constant = &constant;
        add(constant.name, std::move(value));
    }

    void addNode(const Node& node) {
        const OpRule rule = opRule(node.op);
        require(rule != nullptr, "the operator " + std::string(node.op) + " is not supported");
        require(node.outputs.size() == 1, "a node has not one output");
        Value result = apply(rule, node);
        charge(result);
        if (node.op == "QuantizeLinear")
            checkQuantizedNames(node);
        add(node.outputs[0], std::move(result));
    }

    Value apply(OpRule rule, const Node& node) const {
        try {
            NodeView view(node, inputsOf(node));
            Value result = rule(view);
            view.requireAllRead();
            return result;
        } catch (const Refusal& reason) {
            throw Refusal(std::string(node.op) + " giving " + std::string(node.outputs[0]) + ": " +
                          reason.what());
        }
    }

    std::vector<const Value*> inputsOf(const Node& node) const {
        std::vector<const Value*> inputs;
        for (const std::string_view name : node.inputs) {
            const auto found = values_.find(name);
            require(name.empty() || found != values_.end(),
                    "its input " + std::string(name) + " does not exist before it");
            inputs.push_back(name.empty() ? nullptr : &found->second);
        }
        return inputs;
    }

    void charge(const Value& result) {
        cost_.work += result.work;
        cost_.elements += elementCount(result.dims, kElementsMax);
        require(cost_.work <= kWorkMax && cost_.elements <= kTotalElementsMax,
                "the network is too large");
    }

    /// The inference engine keeps signed bytes only for a result whose parameters are named so.
    static void checkQuantizedNames(const Node& node) {
        const std::string name(node.outputs[0]);
        const std::string base(reportedName(name));
        require(!base.empty() && base != name && node.inputs[1] == base + "_scale" &&
                    node.inputs[2] == base + "_zero_point",
                "the quantised value " + name + " or its parameters are misnamed");
    }

    void checkOutput(const ValueInfo& output) const {
        const std::string name(output.name);
        const auto found = values_.find(output.name);
        require(found != values_.end(), "the output " + name + " does not exist");
        require(found->second.kind == Value::Kind::kQuantized && output.type == ElementType::kInt8,
                "the output " + name + " is not quantised to signed bytes");
        require(found->second.dims == output.dims,
                "the output " + name + " is not shaped as declared");
    }

    std::map<std::string_view, Value> values_;
    GraphCost cost_;
};

}  // namespace

GraphCost checkGraph(const Model& model) {
    return GraphChecker().check(model);
}

}  // namespace brairu::npu
