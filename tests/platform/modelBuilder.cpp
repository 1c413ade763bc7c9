#include "modelBuilder.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "onnx/seal.h"
#include "onnx/wire.h"

namespace brairu::test {

namespace {

using npu::WireWriter;

constexpr std::size_t kSealBytes = 64;

template <class Value>
std::string bytesOf(const std::vector<Value>& values) {
    std::string bytes(values.size() * sizeof(Value), '\0');
    if (!values.empty())
        std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

std::string entry(const std::string& key, const std::string& value) {
    WireWriter writer;
    writer.bytes(1, key);
    writer.bytes(2, value);
    return writer.take();
}

std::string tensorMessage(const TestTensor& tensor, std::string& blobs) {
    WireWriter writer;
    writer.ints(1, tensor.dims);
    writer.varint(2, static_cast<std::uint64_t>(tensor.type));
    writer.bytes(8, tensor.name);
    if (!tensor.external) {
        writer.bytes(9, tensor.data);
        return writer.take();
    }
    writer.bytes(13, entry("location", tensor.location));
    writer.bytes(13, entry("offset", std::to_string(blobs.size())));
    writer.bytes(13, entry("length", std::to_string(tensor.data.size())));
    writer.varint(14, 1);
    blobs += tensor.data;
    return writer.take();
}

std::string nodeMessage(const TestNode& node) {
    WireWriter writer;
    for (const std::string& input : node.inputs)
        writer.bytes(1, input);
    for (const std::string& output : node.outputs)
        writer.bytes(2, output);
    writer.bytes(3, "node of " + node.op);
    writer.bytes(4, node.op);
    for (const std::string& message : node.attributes)
        writer.bytes(5, message);
    if (!node.domain.empty())
        writer.bytes(7, node.domain);
    return writer.take();
}

std::string valueMessage(const TestValue& value) {
    WireWriter shape;
    for (const std::int64_t dim : value.dims) {
        WireWriter dimension;
        dimension.varint(1, static_cast<std::uint64_t>(dim));
        shape.bytes(1, dimension.message());
    }
    WireWriter tensorType;
    tensorType.varint(1, static_cast<std::uint64_t>(value.type));
    tensorType.bytes(2, shape.message());
    WireWriter type;
    type.bytes(1, tensorType.message());
    WireWriter writer;
    writer.bytes(1, value.name);
    writer.bytes(2, type.message());
    return writer.take();
}

std::vector<float> ramp(std::size_t count, float start, float step) {
    std::vector<float> values(count);
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = start + step * static_cast<float>(i % 17);
    }
    return values;
}

void convolution(TestModel& model, const std::string& input, const std::string& name,
                 std::int64_t from, std::int64_t to, std::int64_t stride) {
    model.floats(name + "_w", {to, from, 3, 3},
                 ramp(static_cast<std::size_t>(to * from * 9), -0.1F, 0.013F));
    model.floats(name + "_b", {to}, ramp(static_cast<std::size_t>(to), 0.2F, -0.05F));
    model.nodes.push_back(
        {"Conv",
         {input, name + "_w", name + "_b"},
         {name},
         {attribute("kernel_shape", Shape{3, 3}), attribute("strides", Shape{stride, stride}),
          attribute("pads", Shape{1, 1, 1, 1})},
         ""});
}

void batchNormalization(TestModel& model, const std::string& input, const std::string& name,
                        std::int64_t channels) {
    std::vector<std::string> inputs = {input};
    for (const char* part : {"_scale", "_shift", "_mean", "_variance"}) {
        model.floats(name + part, {channels}, ramp(static_cast<std::size_t>(channels), 0.5F, 0.1F));
        inputs.push_back(name + part);
    }
    model.nodes.push_back(
        {"BatchNormalization", inputs, {name}, {attribute("epsilon", 1e-3F)}, ""});
}

}  // namespace

void TestModel::floats(const std::string& name, const Shape& dims, const std::vector<float>& values,
                       bool external) {
    tensors.push_back({name, kFloat, dims, bytesOf(values), external, "blobs"});
}

void TestModel::integers(const std::string& name, const std::vector<std::int64_t>& values) {
    tensors.push_back({name,
                       kInt64,
                       {static_cast<std::int64_t>(values.size())},
                       bytesOf(values),
                       false,
                       "blobs"});
}

void TestModel::quantise(const std::string& value, const std::string& name, float scale,
                         const Shape& dims) {
    floats(name + "_scale", {}, {scale}, false);
    tensors.push_back({name + "_zero_point", kInt8, {}, std::string(1, '\0'), false, "blobs"});
    nodes.push_back({"QuantizeLinear",
                     {value, name + "_scale", name + "_zero_point"},
                     {name + "_quantized"},
                     {},
                     ""});
    outputs.push_back({name + "_quantized", kInt8, dims});
}

TestTensor& TestModel::tensor(const std::string& name) {
    const auto found = std::find_if(tensors.begin(), tensors.end(),
                                    [&](const TestTensor& t) { return t.name == name; });
    if (found == tensors.end())
        throw std::logic_error("no tensor " + name);
    return *found;
}

TestNode& TestModel::node(const std::string& op) {
    const auto found =
        std::find_if(nodes.begin(), nodes.end(), [&](const TestNode& n) { return n.op == op; });
    if (found == nodes.end())
        throw std::logic_error("no node " + op);
    return *found;
}

ModelPair TestModel::build() const {
    ModelPair pair;
    WireWriter graph;
    for (const TestNode& node : nodes)
        graph.bytes(1, nodeMessage(node));
    graph.bytes(2, "test");
    for (const TestTensor& tensor : tensors)
        graph.bytes(5, tensorMessage(tensor, pair.blobs));
    for (const TestValue& input : inputs)
        graph.bytes(11, valueMessage(input));
    for (const TestValue& output : outputs)
        graph.bytes(12, valueMessage(output));
    WireWriter operators;
    operators.varint(2, static_cast<std::uint64_t>(opset));
    WireWriter model;
    model.varint(1, 6);
    model.bytes(2, "tests");
    model.bytes(7, graph.message());
    model.bytes(8, operators.message());
    model.bytes(14, entry("blobs_sha256", npu::sha256Hex(pair.blobs)));
    WireWriter seal;
    seal.bytes(14, entry("net_sha256", std::string(kSealBytes, '0')));
    pair.net = sealed(model.message() + unsealed(seal.message()));
    return pair;
}

std::string attribute(const std::string& name, std::int64_t value) {
    WireWriter writer;
    writer.bytes(1, name);
    writer.varint(3, static_cast<std::uint64_t>(value));
    writer.varint(20, 2);
    return writer.take();
}

std::string attribute(const std::string& name, int value) {
    return attribute(name, std::int64_t{value});
}

std::string attribute(const std::string& name, const Shape& values) {
    WireWriter writer;
    writer.bytes(1, name);
    writer.ints(8, values);
    writer.varint(20, 7);
    return writer.take();
}

std::string attribute(const std::string& name, float value) {
    WireWriter writer;
    writer.bytes(1, name);
    writer.real(2, value);
    writer.varint(20, 1);
    return writer.take();
}

std::string attribute(const std::string& name, const char* value) {
    WireWriter writer;
    writer.bytes(1, name);
    writer.bytes(4, value);
    writer.varint(20, 3);
    return writer.take();
}

std::string unsealed(const std::string& net) {
    return net.substr(0, net.size() - kSealBytes);
}

std::string sealed(const std::string& body) {
    return body + npu::sha256Hex(body);
}

TestModel convolutionModel() {
    TestModel model;
    model.inputs.push_back({"image", kFloat, {1, 1, 4, 4}});
    model.floats("w", {2, 1, 3, 3}, {0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -1, 2, 0, -2, 1, 0, -1});
    model.floats("b", {2}, {-10, 6});
    model.nodes.push_back({"Conv",
                           {"image", "w", "b"},
                           {"c"},
                           {attribute("kernel_shape", Shape{3, 3}), attribute("group", 1),
                            attribute("pads", Shape{1, 1, 1, 1})},
                           ""});
    model.nodes.push_back({"Relu", {"c"}, {"r"}, {}, ""});
    model.quantise("r", "scores", 2.0F, {1, 2, 4, 4});
    return model;
}

TestModel everyOperatorModel() {
    TestModel model;
    const auto add = [&model](const char* op, std::vector<std::string> inputs, const char* output,
                              std::vector<std::string> attributes = {}) {
        model.nodes.push_back({op, std::move(inputs), {output}, std::move(attributes), ""});
    };
    model.inputs.push_back({"image", kUint8, {1, 1, 32, 32}});
    add("Cast", {"image"}, "real", {attribute("to", 1)});
    model.floats("half", {}, {127.5F}, false);
    add("Sub", {"real", "half"}, "centred");
    add("Div", {"centred", "half"}, "unit");
    convolution(model, "unit", "c1", 1, 4, 2);  // 16 x 16
    add("Relu", {"c1"}, "r1");
    batchNormalization(model, "r1", "n1", 4);
    convolution(model, "n1", "c2", 4, 4, 2);  // 8 x 8
    model.floats("slopes", {4, 1, 1}, {0.1F, 0.2F, 0.3F, 0.4F});
    add("PRelu", {"c2", "slopes"}, "r2");
    add("Sigmoid", {"r2"}, "s2");
    add("Mul", {"r2", "s2"}, "silu");
    convolution(model, "silu", "c3", 4, 4, 2);  // 4 x 4
    add("LeakyRelu", {"c3"}, "r3", {attribute("alpha", 0.1F)});
    add("Tanh", {"r3"}, "t3");
    model.floats("doubled", {4}, {1, 1, 2, 2}, false);
    add("Resize", {"t3", "", "doubled"}, "up1",
        {attribute("mode", "nearest"), attribute("coordinate_transformation_mode", "asymmetric"),
         attribute("nearest_mode", "floor")});
    model.integers("eight", {1, 4, 8, 8});
    add("Resize", {"t3", "", "", "eight"}, "up2",
        {attribute("mode", "linear"),
         attribute("coordinate_transformation_mode", "pytorch_half_pixel"),
         attribute("cubic_coeff_a", -0.75F)});
    add("Add", {"up1", "up2"}, "up");
    add("MaxPool", {"silu"}, "mp",
        {attribute("kernel_shape", Shape{3, 3}), attribute("strides", Shape{1, 1}),
         attribute("pads", Shape{1, 1, 1, 1}), attribute("ceil_mode", 0)});
    add("AveragePool", {"silu"}, "ap", {attribute("kernel_shape", Shape{2, 2})});
    model.integers("sevens", {1, 4, 49});
    add("Reshape", {"ap", "sevens"}, "ap49");
    add("Concat", {"up", "mp"}, "joined", {attribute("axis", 1)});
    model.integers("cells", {1, 8, -1});
    add("Reshape", {"joined", "cells"}, "cells64");
    add("Transpose", {"cells64"}, "rows64", {attribute("perm", Shape{0, 2, 1})});
    add("GlobalAveragePool", {"t3"}, "gap");
    add("Flatten", {"gap"}, "vector", {attribute("axis", 1)});
    add("ReduceMean", {"c2"}, "mean", {attribute("axes", Shape{2, 3}), attribute("keepdims", 0)});
    add("Add", {"vector", "mean"}, "both");
    model.floats("fw", {160, 4}, ramp(640, -0.3F, 0.04F));
    model.floats("fb", {160}, ramp(160, 0.1F, 0.01F));
    add("Gemm", {"both", "fw", "fb"}, "dense", {attribute("transB", 1)});
    model.integers("twenty", {1, 20, 8});
    add("Reshape", {"dense", "twenty"}, "rows20");
    add("Concat", {"rows64", "rows20"}, "rows", {attribute("axis", 1)});
    model.integers("zero", {0});
    model.integers("seven", {7});
    model.integers("two", {2});
    add("Slice", {"rows", "zero", "seven", "two"}, "rows7");
    model.floats("blank", {1, 84, 1}, std::vector<float>(84, 0.0F));
    add("Concat", {"rows7", "blank"}, "padded", {attribute("axis", 2)});
    model.quantise("padded", "output0", 0.01F, {1, 84, 8});
    return model;
}

}  // namespace brairu::test
