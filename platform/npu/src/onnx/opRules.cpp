#include "onnx/opRules.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <numeric>

#include "onnx/refusal.h"
#include "onnx/weights.h"

namespace brairu::npu {

namespace {

constexpr std::int64_t kWindowMax = 64;  // kernel sides, strides, dilations, padding
constexpr float kScaleMax = 16.0F;
constexpr std::size_t kInputsMax = 64;
constexpr std::size_t kImageRank = 4;
constexpr std::int64_t kToFloat = 1;

Value activationOf(Dims dims) {
    require(!dims.empty() && dims.size() <= kImageRank && dims[0] == 1,
            "its result is not one image or vector");
    require(elementCount(dims, kElementsMax) > 0, "its result is empty");
    Value value;
    value.dims = std::move(dims);
    return value;
}

float scalarOf(const ConstantTensor& constant) {
    require(constant.data.size() == sizeof(float), "a constant is no scalar");
    float value = 0.0F;
    std::memcpy(&value, constant.data.data(), sizeof value);
    return value;
}

void requireList(const Dims& values, std::size_t count, std::int64_t least, const char* reason) {
    require(values.size() == count, reason);
    for (const std::int64_t value : values)
        require(value >= least && value <= kWindowMax, reason);
}

/// A sliding window over height and width.
struct Window {
    Dims kernel;
    Dims strides;
    Dims dilations;
    Dims pads;

    std::int64_t reach(std::size_t axis) const { return dilations[axis] * (kernel[axis] - 1) + 1; }

    std::int64_t outputSide(std::int64_t side, std::size_t axis) const {
        const std::int64_t room = side + pads[axis] + pads[axis + 2] - reach(axis);
        require(room >= 0, "its window is larger than its input");
        return room / strides[axis] + 1;
    }
};

Window readWindow(NodeView& node) {
    Window window{node.integers("kernel_shape", {}), node.integers("strides", {1, 1}),
                  node.integers("dilations", {1, 1}), node.integers("pads", {0, 0, 0, 0})};
    requireList(window.kernel, 2, 1, "its kernel_shape is out of range");
    requireList(window.strides, 2, 1, "its strides are out of range");
    requireList(window.dilations, 2, 1, "its dilations are out of range");
    requireList(window.pads, 4, 0, "its pads are out of range");
    require(node.text("auto_pad", "NOTSET") == "NOTSET", "its padding is automatic");
    return window;
}

Value slideOver(const Dims& image, std::int64_t channels, const Window& window) {
    return activationOf(
        {image[0], channels, window.outputSide(image[2], 0), window.outputSide(image[3], 1)});
}

Value convolution(NodeView& node) {
    node.requireInputs(2, 3);
    const Dims& image = node.activation(0, kImageRank).dims;
    const Dims& weights = node.constant(1, ElementType::kFloat).dims;
    const Window window = readWindow(node);
    const std::int64_t group = node.integer("group", 1);
    require(weights.size() == kImageRank && weights[0] > 0, "its weights are not four-dimensional");
    require(group > 0 && image[1] % group == 0 && weights[0] % group == 0 &&
                weights[1] == image[1] / group,
            "its weights do not fit its channels and groups");
    require(weights[2] == window.kernel[0] && weights[3] == window.kernel[1],
            "its weights do not fit its kernel_shape");
    if (node.has(2)) {
        require(node.constant(2, ElementType::kFloat).dims == Dims{weights[0]},
                "its bias does not fit its weights");
    }
    Value result = slideOver(image, weights[0], window);
    result.work = elementCount(result.dims, kElementsMax) *
                  (elementCount(weights, kElementsMax) / weights[0]);
    return result;
}

Value pooling(NodeView& node) {
    node.requireInputs(1, 1);
    const Dims& image = node.activation(0, kImageRank).dims;
    const Window window = readWindow(node);
    require(window.dilations == Dims({1, 1}), "its window is dilated");
    for (std::size_t i = 0; i < window.pads.size(); ++i) {
        require(window.pads[i] < window.kernel[i % 2], "its padding exceeds its window");
    }
    require(node.integer("ceil_mode", 0) == 0, "its size is rounded up");
    return slideOver(image, image[1], window);
}

Value maxPooling(NodeView& node) {
    require(node.integer("storage_order", 0) == 0, "its storage order is unsupported");
    return pooling(node);
}

Value averagePooling(NodeView& node) {
    const std::int64_t includesPadding = node.integer("count_include_pad", 0);
    require(includesPadding == 0 || includesPadding == 1, "its count_include_pad is out of range");
    return pooling(node);
}

Value globalAverage(NodeView& node) {
    node.requireInputs(1, 1);
    const Dims& image = node.activation(0, kImageRank).dims;
    return activationOf({image[0], image[1], 1, 1});
}

Value reduceMean(NodeView& node) {
    node.requireInputs(1, 1);
    const Dims& image = node.activation(0, kImageRank).dims;
    require(node.integers("axes", {}) == Dims({2, 3}), "it averages over other axes than 2 and 3");
    if (node.integer("keepdims", 1) == 0)
        return activationOf({image[0], image[1]});
    return activationOf({image[0], image[1], 1, 1});
}

Value reduceL2(NodeView& node) {
    node.requireInputs(1, 1);
    const Value& vector = node.activation(0, 2);
    require(node.integers("axes", {}) == Dims{1} && node.integer("keepdims", 1) == 1,
            "it is not the length of a vector");
    Value norm;
    norm.kind = Value::Kind::kNorm;
    norm.dims = {1, 1};
    norm.normOf = &vector;
    return norm;
}

Value sameShape(NodeView& node) {
    node.requireInputs(1, 1);
    return activationOf(node.activation(0).dims);
}

Value leakyRelu(NodeView& node) {
    require(std::isfinite(node.real("alpha", 0.01F)), "its slope is not finite");
    return sameShape(node);
}

std::int64_t channelsOf(const Value& value) {
    require(value.dims.size() >= 2, "its input has no channels");
    return value.dims[1];
}

Value parametricRelu(NodeView& node) {
    node.requireInputs(2, 2);
    const Value& input = node.activation(0);
    const Dims& slope = node.constant(1, ElementType::kFloat).dims;
    const std::int64_t slopes = elementCount(slope, kElementsMax);
    require(slope.size() <= 3 && (slopes == 1 || slopes == channelsOf(input)) &&
                (slope.empty() || slope[0] == slopes),
            "its slopes do not fit its channels");
    return activationOf(input.dims);
}

Value batchNormalization(NodeView& node) {
    node.requireInputs(5, 5);
    const Value& input = node.activation(0);
    for (std::size_t i = 1; i < 5; ++i) {
        require(node.constant(i, ElementType::kFloat).dims == Dims{channelsOf(input)},
                "its parameters do not fit its channels");
    }
    require(node.real("epsilon", 1e-5F) > 0.0F, "its epsilon is not positive");
    node.real("momentum", 0.9F);  // training only
    return activationOf(input.dims);
}

bool broadcastsInto(const Dims& from, const Dims& into) {
    if (from.size() > into.size())
        return false;
    return std::equal(from.rbegin(), from.rend(), into.rbegin(),
                      [](std::int64_t a, std::int64_t b) { return a == 1 || a == b; });
}

Value withConstant(const NodeView& node, std::size_t activation, std::size_t constant) {
    const Dims& dims = node.activation(activation).dims;
    require(broadcastsInto(node.constant(constant, ElementType::kFloat).dims, dims),
            "its constant does not broadcast into its other input");
    return activationOf(dims);
}

bool isConstant(const Value& value) {
    return value.kind == Value::Kind::kConstant;
}

Value elementwise(NodeView& node) {
    node.requireInputs(2, 2);
    if (isConstant(node.value(1)))
        return withConstant(node, 0, 1);
    require(node.activation(0).dims == node.activation(1).dims, "its inputs differ in shape");
    return activationOf(node.activation(0).dims);
}

Value commutative(NodeView& node) {
    node.requireInputs(2, 2);
    return isConstant(node.value(0)) ? withConstant(node, 1, 0) : elementwise(node);
}

Value division(NodeView& node) {
    node.requireInputs(2, 2);
    const Value& divisor = node.value(1);
    if (divisor.kind != Value::Kind::kNorm)
        return elementwise(node);
    require(divisor.normOf == &node.activation(0), "it divides by another value's length");
    return activationOf(node.activation(0).dims);
}

/// An axis behind the batch's. Compared before it is cut to the width of a size.
bool isInnerAxis(std::int64_t axis, const Dims& dims) {
    return axis > 0 && axis < static_cast<std::int64_t>(dims.size());
}

Value concatenation(NodeView& node) {
    node.requireInputs(1, kInputsMax);
    Dims joined = node.activation(0).dims;
    const std::int64_t axis = node.integer("axis", 0);
    require(isInnerAxis(axis, joined), "its axis is out of range");
    const auto along = static_cast<std::size_t>(axis);
    for (std::size_t i = 1; i < node.node().inputs.size(); ++i) {
        const bool constant = isConstant(node.value(i));
        const Dims& dims =
            constant ? node.constant(i, ElementType::kFloat).dims : node.activation(i).dims;
        require(dims.size() == joined.size() && dims[along] > 0, "its inputs differ in shape");
        Dims expected = joined;
        expected[along] = dims[along];
        require(dims == expected, "its inputs differ in shape");
        joined[along] += dims[along];
        require(joined[along] <= kElementsMax, "its result is too large");
    }
    return activationOf(std::move(joined));
}

void cut(Dims& dims, std::int64_t axis, std::int64_t start, std::int64_t end) {
    require(isInnerAxis(axis, dims), "an axis is out of range");
    std::int64_t& side = dims[static_cast<std::size_t>(axis)];
    require(start >= 0 && start < end && start < side, "a range is empty or negative");
    side = std::min(end, side) - start;
}

Value slice(NodeView& node) {
    node.requireInputs(4, 5);
    Dims dims = node.activation(0).dims;
    const Dims starts = node.integersOf(1);
    const Dims ends = node.integersOf(2);
    const Dims axes = node.integersOf(3);
    require(starts.size() == axes.size() && ends.size() == axes.size() && !axes.empty(),
            "its ranges are incomplete");
    if (node.has(4)) {
        require(node.integersOf(4) == Dims(axes.size(), 1), "its steps are not 1");
    }
    for (std::size_t i = 0; i < axes.size(); ++i) {
        require(i == 0 || axes[i] > axes[i - 1], "its axes are not in rising order");
        cut(dims, axes[i], starts[i], ends[i]);
    }
    return activationOf(std::move(dims));
}

Dims scaled(const Dims& image, const ConstantTensor& scales) {
    std::array<float, kImageRank> factors{};
    require(scales.data.size() == sizeof factors, "it has not four scales");
    std::memcpy(factors.data(), scales.data.data(), sizeof factors);
    Dims dims;
    for (std::size_t i = 0; i < factors.size(); ++i) {
        const bool fits = i < 2 ? factors[i] == 1.0F : factors[i] > 0.0F && factors[i] <= kScaleMax;
        require(fits, "a scale is out of range");
        dims.push_back(static_cast<std::int64_t>(static_cast<float>(image[i]) * factors[i]));
    }
    return dims;
}

Dims resizedDims(const NodeView& node, const Dims& image) {
    if (!node.has(3))
        return scaled(image, node.constant(2, ElementType::kFloat));
    Dims sizes = node.integersOf(3);
    require(sizes.size() == kImageRank && sizes[0] == image[0] && sizes[1] == image[1],
            "its sizes change more than height and width");
    return sizes;
}

template <std::size_t count>
void requireOneOf(const std::string& text, const std::array<const char*, count>& known) {
    require(std::find(known.begin(), known.end(), text) != known.end(),
            "mode " + text + " is unsupported");
}

Value resize(NodeView& node) {
    node.requireInputs(3, 4);
    const Dims& image = node.activation(0, kImageRank).dims;
    requireOneOf(node.text("mode", "nearest"), std::array{"nearest", "linear"});
    requireOneOf(node.text("coordinate_transformation_mode", "half_pixel"),
                 std::array{"half_pixel", "pytorch_half_pixel", "align_corners", "asymmetric"});
    requireOneOf(node.text("nearest_mode", "round_prefer_floor"),
                 std::array{"round_prefer_floor", "floor"});
    node.real("cubic_coeff_a", -0.75F);  // exporters write it in every mode
    return activationOf(resizedDims(node, image));
}

Value fullyConnected(NodeView& node) {
    node.requireInputs(2, 3);
    const Dims& vector = node.activation(0, 2).dims;
    const Dims& weights = node.constant(1, ElementType::kFloat).dims;
    require(node.integer("transA", 0) == 0 && node.integer("transB", 0) == 1,
            "its weights are not stored as rows of outputs");
    require(node.real("alpha", 1.0F) == 1.0F && node.real("beta", 1.0F) == 1.0F, "it is scaled");
    require(weights.size() == 2 && weights[0] > 0 && weights[1] == vector[1],
            "its weights do not fit its input");
    if (node.has(2)) {
        require(node.constant(2, ElementType::kFloat).dims == Dims{weights[0]},
                "its bias does not fit its weights");
    }
    Value result = activationOf({vector[0], weights[0]});
    result.work = elementCount(weights, kElementsMax);
    return result;
}

Value flatten(NodeView& node) {
    node.requireInputs(1, 1);
    const Dims& dims = node.activation(0).dims;
    require(node.integer("axis", 1) == 1, "it does not keep the batch apart");
    return activationOf({dims[0], elementCount(dims, kElementsMax)});
}

std::int64_t sizeOf(std::int64_t wanted, const Dims& dims, std::size_t axis) {
    if (wanted != 0)
        return wanted;
    require(axis < dims.size(), "its shape copies a missing dimension");
    return dims[axis];
}

Value reshape(NodeView& node) {
    node.requireInputs(2, 2);
    const Dims& dims = node.activation(0).dims;
    Dims shape = node.integersOf(1);
    require(!shape.empty() && std::count(shape.begin(), shape.end(), -1) <= 1,
            "its shape is ambiguous");
    std::int64_t known = 1;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        shape[i] = sizeOf(shape[i], dims, i);
        if (shape[i] != -1)
            known = elementCount({known, shape[i]}, kElementsMax);
    }
    const std::int64_t total = elementCount(dims, kElementsMax);
    require(known > 0 && total % known == 0, "its shape holds another number of elements");
    std::replace(shape.begin(), shape.end(), std::int64_t{-1}, total / known);
    require(elementCount(shape, kElementsMax) == total,
            "its shape holds another number of elements");
    return activationOf(std::move(shape));
}

Value transpose(NodeView& node) {
    node.requireInputs(1, 1);
    const Dims& dims = node.activation(0).dims;
    const Dims order = node.integers("perm", {});
    Dims every(dims.size());
    std::iota(every.begin(), every.end(), 0);
    require(order.size() == dims.size() && order[0] == 0, "its order of axes is unsupported");
    require(std::is_permutation(order.begin(), order.end(), every.begin()),
            "its order of axes is no permutation");
    Dims turned;
    for (const std::int64_t axis : order)
        turned.push_back(dims[static_cast<std::size_t>(axis)]);
    return activationOf(std::move(turned));
}

Value cast(NodeView& node) {
    require(node.integer("to", 0) == kToFloat, "it does not convert to float");
    return sameShape(node);
}

Value quantize(NodeView& node) {
    node.requireInputs(3, 3);
    const float scale = scalarOf(node.constant(1, ElementType::kFloat));
    const ConstantTensor& zeroPoint = node.constant(2, ElementType::kInt8);
    require(std::isfinite(scale) && scale >= std::numeric_limits<float>::min(),
            "its scale is not positive");
    require(zeroPoint.data == std::string_view("\0", 1), "its zero point is not 0");
    Value result = activationOf(node.activation(0).dims);
    result.kind = Value::Kind::kQuantized;
    return result;
}

}  // namespace

OpRule opRule(std::string_view op) {
    static const std::map<std::string_view, OpRule> kRules = {
        {"Add", commutative},
        {"AveragePool", averagePooling},
        {"BatchNormalization", batchNormalization},
        {"Cast", cast},
        {"Concat", concatenation},
        {"Conv", convolution},
        {"Div", division},
        {"Flatten", flatten},
        {"Gemm", fullyConnected},
        {"GlobalAveragePool", globalAverage},
        {"LeakyRelu", leakyRelu},
        {"MaxPool", maxPooling},
        {"Mul", commutative},
        {"PRelu", parametricRelu},
        {"QuantizeLinear", quantize},
        {"ReduceL2", reduceL2},
        {"ReduceMean", reduceMean},
        {"Relu", sameShape},
        {"Reshape", reshape},
        {"Resize", resize},
        {"Sigmoid", sameShape},
        {"Slice", slice},
        {"Sub", elementwise},
        {"Tanh", sameShape},
        {"Transpose", transpose},
    };
    const auto rule = kRules.find(op);
    return rule == kRules.end() ? nullptr : rule->second;
}

}  // namespace brairu::npu
