#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>

#include "handles.h"
#include "inferenceNet.h"
#include "modelBuilder.h"
#include "npuSession.h"
#include "onnx/modelReader.h"
#include "onnx/refusal.h"
#include "onnx/wire.h"

namespace brairu::test {
namespace {

/// Why the pair is refused before the inference engine sees it, empty when it is not.
std::string reasonFor(const ModelPair& pair) {
    try {
        npu::InferenceNet net(npu::readModel(pair.net), pair.blobs);
    } catch (const npu::Refusal& refusal) {
        return refusal.what();
    }
    return "";
}

void setFloat(TestTensor& tensor, float value) {
    std::memcpy(tensor.data.data(), &value, sizeof value);
}

struct Spoil {
    const char* name;
    std::function<void(TestModel&)> apply;
    const char* reason;
};

void PrintTo(const Spoil& spoil, std::ostream* out) {
    *out << spoil.name;
}

std::string nameOf(const testing::TestParamInfo<Spoil>& info) {
    return info.param.name;
}

class SpoiltConvolution : public testing::TestWithParam<Spoil> {};

TEST_P(SpoiltConvolution, IsRefusedWithItsReason) {
    TestModel model = convolutionModel();
    GetParam().apply(model);
    const ModelPair pair = model.build();
    EXPECT_EQ(reasonFor(pair), GetParam().reason);
    EXPECT_EQ(verifyPair(pair), VX_FAILURE);
}

INSTANTIATE_TEST_SUITE_P(
    Structure, SpoiltConvolution,
    testing::Values(
        Spoil{"OtherOperatorSet", [](TestModel& m) { m.opset = 13; }, "the operator set is not 11"},
        Spoil{"NoNodes", [](TestModel& m) { m.nodes.clear(); },
              "the number of nodes is out of range"},
        Spoil{"TooManyNodes", [](TestModel& m) { m.nodes.resize(4097, m.node("Relu")); },
              "the number of nodes is out of range"},
        Spoil{"NoInput", [](TestModel& m) { m.inputs.clear(); }, "the graph has no input"},
        Spoil{"NamelessInput", [](TestModel& m) { m.inputs[0].name = ""; }, "an input has no name"},
        Spoil{"InputOfInt64", [](TestModel& m) { m.inputs[0].type = kInt64; },
              "an input is neither float nor byte"},
        Spoil{"InputOfUnknownType", [](TestModel& m) { m.inputs[0].type = 9; },
              "a tensor has an unsupported element type"},
        Spoil{"InputBatch", [](TestModel& m) { m.inputs[0].dims[0] = 2; },
              "an input is not one image"},
        Spoil{"InputRank",
              [](TestModel& m) {
                  m.inputs[0].dims = {1, 4, 4};
              },
              "an input is not one image"},
        Spoil{"InputChannels", [](TestModel& m) { m.inputs[0].dims[1] = 2; },
              "an input has neither 1 nor 3 channels"},
        Spoil{"InputSide", [](TestModel& m) { m.inputs[0].dims[2] = 2049; },
              "an input is too large"},
        Spoil{"InputDimensionZero", [](TestModel& m) { m.inputs[0].dims[3] = 0; },
              "a declared dimension is not positive"},
        Spoil{"InputDimensionNegative", [](TestModel& m) { m.inputs[0].dims[3] = -4; },
              "a declared dimension is not positive"},
        Spoil{"LongName", [](TestModel& m) { m.inputs[0].name = std::string(256, 'x'); },
              "a name is too long or holds a zero byte"},
        Spoil{"NameWithZeroByte", [](TestModel& m) { m.inputs[0].name = std::string(3, '\0'); },
              "a name is too long or holds a zero byte"},
        Spoil{"ForeignDomain", [](TestModel& m) { m.nodes[0].domain = "elsewhere"; },
              "a node is of a foreign domain"},
        Spoil{"NoOutput", [](TestModel& m) { m.outputs.clear(); },
              "the number of outputs is out of range"},
        Spoil{"MissingOutput", [](TestModel& m) { m.outputs[0].name = "nowhere"; },
              "the output nowhere does not exist"},
        Spoil{"FloatOutput",
              [](TestModel& m) {
                  m.outputs[0] = {"r", kFloat, {1, 2, 4, 4}};
              },
              "the output r is not quantised to signed bytes"},
        Spoil{"OutputDeclaredFloat", [](TestModel& m) { m.outputs[0].type = kFloat; },
              "the output scores_quantized is not quantised to signed bytes"},
        Spoil{"OutputShape",
              [](TestModel& m) {
                  m.outputs[0].dims = {1, 2, 16};
              },
              "the output scores_quantized is not shaped as declared"},
        Spoil{"NameUsedTwice", [](TestModel& m) { m.tensor("b").name = "w"; },
              "the name w is used twice"},
        Spoil{"NamelessValue", [](TestModel& m) { m.tensor("b").name = ""; },
              "a value has no name"},
        Spoil{"UnknownOperator", [](TestModel& m) { m.nodes[1].op = "Loop"; },
              "the operator Loop is not supported"},
        Spoil{"TwoOutputsOfANode", [](TestModel& m) { m.nodes[1].outputs.push_back("more"); },
              "a node has not one output"},
        Spoil{"MissingInput", [](TestModel& m) { m.nodes[1].inputs[0] = "nowhere"; },
              "Relu giving r: its input nowhere does not exist before it"},
        Spoil{"InputFromLater", [](TestModel& m) { std::swap(m.nodes[0], m.nodes[1]); },
              "Relu giving r: its input c does not exist before it"},
        Spoil{"UnknownAttribute",
              [](TestModel& m) { m.nodes[1].attributes.push_back(attribute("power", 2)); },
              "Relu giving r: attribute power is unsupported"},
        Spoil{"AttributeTwice",
              [](TestModel& m) { m.nodes[0].attributes.push_back(attribute("group", 7)); },
              "Conv giving c: attribute group is unsupported"},
        Spoil{"AttributeOfAnotherType",
              [](TestModel& m) { m.nodes[0].attributes[1] = attribute("group", 1.0F); },
              "Conv giving c: attribute group has a wrong type"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Weights, SpoiltConvolution,
    testing::Values(Spoil{"TensorShorterThanItsDimensions",
                          [](TestModel& m) { m.tensor("w").data.resize(68); },
                          "the size of tensor w does not match its dimensions"},
                    Spoil{"TensorLongerThanItsDimensions",
                          [](TestModel& m) { m.tensor("w").data.resize(76, '\0'); },
                          "the size of tensor w does not match its dimensions"},
                    Spoil{"InlineTensorOfAnotherSize",
                          [](TestModel& m) { m.tensor("scores_scale").data.resize(5); },
                          "the size of tensor scores_scale does not match its dimensions"},
                    Spoil{"TensorOfNoBytes", [](TestModel& m) { m.tensor("w").data.clear(); },
                          "the size of tensor w does not match its dimensions"},
                    Spoil{"NegativeDimension", [](TestModel& m) { m.tensor("w").dims[0] = -2; },
                          "a tensor has an impossible dimension"},
                    Spoil{"OverflowingDimensions",
                          [](TestModel& m) {
                              m.tensor("w").dims = {1 << 28, 1 << 28, 1 << 28, 1 << 28};
                          },
                          "a tensor is too large"},
                    Spoil{"OtherFile", [](TestModel& m) { m.tensor("w").location = "/etc/passwd"; },
                          "an external tensor lies in an unknown file"},
                    Spoil{"Int32Tensor", [](TestModel& m) { m.tensor("w").type = kInt32; },
                          "a tensor has an unsupported element type"},
                    Spoil{"TooManyDimensions",
                          [](TestModel& m) { m.tensor("w").dims.resize(7, 1); },
                          "a tensor has too many dimensions"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Convolution, SpoiltConvolution,
    testing::Values(
        Spoil{"ZeroStride",
              [](TestModel& m) {
                  m.nodes[0].attributes.push_back(attribute("strides", Shape{0, 1}));
              },
              "Conv giving c: its strides are out of range"},
        Spoil{"ZeroKernel",
              [](TestModel& m) {
                  m.nodes[0].attributes[0] = attribute("kernel_shape", Shape{0, 3});
              },
              "Conv giving c: its kernel_shape is out of range"},
        Spoil{"NoKernel",
              [](TestModel& m) { m.nodes[0].attributes.erase(m.nodes[0].attributes.begin()); },
              "Conv giving c: its kernel_shape is out of range"},
        Spoil{"OtherKernel",
              [](TestModel& m) {
                  m.nodes[0].attributes[0] = attribute("kernel_shape", Shape{3, 1});
              },
              "Conv giving c: its weights do not fit its kernel_shape"},
        Spoil{"NegativePadding",
              [](TestModel& m) {
                  m.nodes[0].attributes[2] = attribute("pads", Shape{1, 1, 1, -1});
              },
              "Conv giving c: its pads are out of range"},
        Spoil{"ZeroDilation",
              [](TestModel& m) {
                  m.nodes[0].attributes.push_back(attribute("dilations", Shape{1, 0}));
              },
              "Conv giving c: its dilations are out of range"},
        Spoil{"AutomaticPadding",
              [](TestModel& m) {
                  m.nodes[0].attributes.push_back(attribute("auto_pad", "SAME_UPPER"));
              },
              "Conv giving c: its padding is automatic"},
        Spoil{"ZeroGroups", [](TestModel& m) { m.nodes[0].attributes[1] = attribute("group", 0); },
              "Conv giving c: its weights do not fit its channels and groups"},
        Spoil{"OddGroups", [](TestModel& m) { m.nodes[0].attributes[1] = attribute("group", 2); },
              "Conv giving c: its weights do not fit its channels and groups"},
        Spoil{"FlatWeights",
              [](TestModel& m) {
                  m.tensor("w").dims = {2, 9};
              },
              "Conv giving c: its weights are not four-dimensional"},
        Spoil{"WeightsOfOtherChannels",
              [](TestModel& m) {
                  m.tensor("w").dims = {1, 2, 3, 3};
              },
              "Conv giving c: its weights do not fit its channels and groups"},
        Spoil{"OtherBias",
              [](TestModel& m) {
                  m.tensor("b").dims = {2, 1};
              },
              "Conv giving c: its bias does not fit its weights"},
        Spoil{"ComputedWeights", [](TestModel& m) { m.nodes[0].inputs[1] = "image"; },
              "Conv giving c: an input is not constant"},
        Spoil{"ConstantImage", [](TestModel& m) { m.nodes[0].inputs[0] = "w"; },
              "Conv giving c: an input is not a computed float value"},
        Spoil{"NoWeights", [](TestModel& m) { m.nodes[0].inputs.resize(1); },
              "Conv giving c: it has a wrong number of inputs"},
        Spoil{"OmittedWeights", [](TestModel& m) { m.nodes[0].inputs[1] = ""; },
              "Conv giving c: a needed input is missing"},
        Spoil{"WindowLargerThanImage",
              [](TestModel& m) {
                  m.nodes[0].attributes.push_back(attribute("dilations", Shape{4, 1}));
              },
              "Conv giving c: its window is larger than its input"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Quantisation, SpoiltConvolution,
    testing::Values(
        Spoil{"ZeroScale", [](TestModel& m) { setFloat(m.tensor("scores_scale"), 0.0F); },
              "QuantizeLinear giving scores_quantized: its scale is not positive"},
        Spoil{"NegativeScale", [](TestModel& m) { setFloat(m.tensor("scores_scale"), -1.0F); },
              "QuantizeLinear giving scores_quantized: its scale is not positive"},
        Spoil{"ScaleThatIsNoNumber",
              [](TestModel& m) {
                  setFloat(m.tensor("scores_scale"), std::numeric_limits<float>::quiet_NaN());
              },
              "QuantizeLinear giving scores_quantized: its scale is not positive"},
        Spoil{"InfiniteScale",
              [](TestModel& m) {
                  setFloat(m.tensor("scores_scale"), std::numeric_limits<float>::infinity());
              },
              "QuantizeLinear giving scores_quantized: its scale is not positive"},
        Spoil{"ZeroPoint", [](TestModel& m) { m.tensor("scores_zero_point").data = "\x01"; },
              "QuantizeLinear giving scores_quantized: its zero point is not 0"},
        Spoil{"UnsignedZeroPoint",
              [](TestModel& m) { m.tensor("scores_zero_point").type = kUint8; },
              "QuantizeLinear giving scores_quantized: a constant input has a wrong element type"},
        Spoil{"ScaleOfManyChannels", [](TestModel& m) { m.node("QuantizeLinear").inputs[1] = "b"; },
              "QuantizeLinear giving scores_quantized: a constant is no scalar"},
        Spoil{"MisnamedScale",
              [](TestModel& m) {
                  m.tensor("scores_scale").name = "factor";
                  m.node("QuantizeLinear").inputs[1] = "factor";
              },
              "the quantised value scores_quantized or its parameters are misnamed"},
        Spoil{"MisnamedOutput",
              [](TestModel& m) {
                  m.node("QuantizeLinear").outputs[0] = "scores";
                  m.outputs[0].name = "scores";
              },
              "the quantised value scores or its parameters are misnamed"},
        Spoil{"UseOfAQuantisedValue",
              [](TestModel& m) {
                  m.nodes.push_back({"Relu", {"scores_quantized"}, {"again"}, {}, ""});
              },
              "Relu giving again: an input is not a computed float value"}),
    nameOf);

class SpoiltOperator : public testing::TestWithParam<Spoil> {};

TEST_P(SpoiltOperator, IsRefusedWithItsReason) {
    TestModel model = everyOperatorModel();
    GetParam().apply(model);
    const ModelPair pair = model.build();
    EXPECT_EQ(reasonFor(pair), GetParam().reason);
    EXPECT_EQ(verifyPair(pair), VX_FAILURE);
}

void setAttributes(TestNode& node, std::vector<std::string> attributes) {
    node.attributes = std::move(attributes);
}

void reshapeTo(TestModel& model, const Shape& shape) {
    model.integers("shape", shape);
    model.node("Reshape").inputs[1] = "shape";
}

INSTANTIATE_TEST_SUITE_P(
    Operators, SpoiltOperator,
    testing::Values(
        Spoil{"CastToInt",
              [](TestModel& m) { setAttributes(m.node("Cast"), {attribute("to", 7)}); },
              "Cast giving real: it does not convert to float"},
        Spoil{"SubtractionFromAConstant",
              [](TestModel& m) {
                  m.node("Sub").inputs = {"half", "real"};
              },
              "Sub giving centred: an input is not a computed float value"},
        Spoil{"DivisionByAWiderConstant", [](TestModel& m) { m.node("Div").inputs[1] = "slopes"; },
              "Div giving unit: its constant does not broadcast into its other input"},
        Spoil{"AdditionOfOtherShapes", [](TestModel& m) { m.node("Add").inputs[1] = "t3"; },
              "Add giving up: its inputs differ in shape"},
        Spoil{"BatchParameters",
              [](TestModel& m) {
                  m.tensor("n1_mean").dims = {2, 2};
              },
              "BatchNormalization giving n1: its parameters do not fit its channels"},
        Spoil{"BatchEpsilon",
              [](TestModel& m) {
                  setAttributes(m.node("BatchNormalization"), {attribute("epsilon", 0.0F)});
              },
              "BatchNormalization giving n1: its epsilon is not positive"},
        Spoil{"Slopes",
              [](TestModel& m) {
                  m.tensor("slopes").dims = {2, 2, 1};
              },
              "PRelu giving r2: its slopes do not fit its channels"},
        Spoil{"InfiniteSlope",
              [](TestModel& m) {
                  setAttributes(m.node("LeakyRelu"),
                                {attribute("alpha", std::numeric_limits<float>::infinity())});
              },
              "LeakyRelu giving r3: its slope is not finite"},
        Spoil{"CubicResize",
              [](TestModel& m) { setAttributes(m.node("Resize"), {attribute("mode", "cubic")}); },
              "Resize giving up1: mode cubic is unsupported"},
        Spoil{"ResizeScaleZero",
              [](TestModel& m) { std::memset(&m.tensor("doubled").data[8], 0, 4); },
              "Resize giving up1: a scale is out of range"},
        Spoil{"ResizeScaleCount",
              [](TestModel& m) {
                  m.tensor("doubled").dims = {3};
                  m.tensor("doubled").data.resize(12);
              },
              "Resize giving up1: it has not four scales"},
        Spoil{"ResizeSizes", [](TestModel& m) { m.tensor("eight").data[8] = 5; },
              "Resize giving up2: its sizes change more than height and width"},
        Spoil{"PoolingPads",
              [](TestModel& m) {
                  m.node("MaxPool").attributes[2] = attribute("pads", Shape{3, 1, 1, 1});
              },
              "MaxPool giving mp: its padding exceeds its window"},
        Spoil{"PoolingRoundedUp",
              [](TestModel& m) { m.node("MaxPool").attributes[3] = attribute("ceil_mode", 1); },
              "MaxPool giving mp: its size is rounded up"},
        Spoil{"PoolingStride",
              [](TestModel& m) {
                  m.node("MaxPool").attributes[1] = attribute("strides", Shape{0, 0});
              },
              "MaxPool giving mp: its strides are out of range"},
        Spoil{"PoolingPaddingCount",
              [](TestModel& m) {
                  m.node("AveragePool").attributes.push_back(attribute("count_include_pad", 2));
              },
              "AveragePool giving ap: its count_include_pad is out of range"},
        Spoil{"PoolingStorageOrder",
              [](TestModel& m) {
                  m.node("MaxPool").attributes.push_back(attribute("storage_order", 1));
              },
              "MaxPool giving mp: its storage order is unsupported"},
        Spoil{"PoolingDilation",
              [](TestModel& m) {
                  m.node("MaxPool").attributes.push_back(attribute("dilations", Shape{2, 2}));
              },
              "MaxPool giving mp: its window is dilated"},
        Spoil{"JoinedAxis",
              [](TestModel& m) { setAttributes(m.node("Concat"), {attribute("axis", 4)}); },
              "Concat giving joined: its axis is out of range"},
        Spoil{"JoinedNegativeAxis",
              [](TestModel& m) { setAttributes(m.node("Concat"), {attribute("axis", -3)}); },
              "Concat giving joined: its axis is out of range"},
        Spoil{"JoinedAxisBeyond32Bits",
              [](TestModel& m) {
                  setAttributes(m.node("Concat"), {attribute("axis", (std::int64_t{1} << 32) + 1)});
              },
              "Concat giving joined: its axis is out of range"},
        Spoil{"JoinedShapes", [](TestModel& m) { m.node("Concat").inputs[1] = "ap"; },
              "Concat giving joined: its inputs differ in shape"},
        Spoil{"JoinedGap",
              [](TestModel& m) {
                  std::vector<std::string>& inputs = m.node("Concat").inputs;
                  inputs = {inputs[0], "", inputs[1]};
              },
              "Concat giving joined: a needed input is missing"},
        Spoil{"ReshapeToAnotherCount", [](TestModel& m) { m.tensor("sevens").data[8] = 3; },
              "Reshape giving ap49: its shape holds another number of elements"},
        Spoil{"ReshapeAmbiguous",
              [](TestModel& m) {
                  reshapeTo(m, {1, -1, -1});
              },
              "Reshape giving ap49: its shape is ambiguous"},
        Spoil{"ReshapeCopiesMissing",
              [](TestModel& m) {
                  reshapeTo(m, {1, 4, 7, 7, 0});
              },
              "Reshape giving ap49: its shape copies a missing dimension"},
        Spoil{"ReshapeNegative",
              [](TestModel& m) {
                  reshapeTo(m, {1, -4, -49});
              },
              "Reshape giving ap49: a tensor has an impossible dimension"},
        Spoil{"ReshapeBatch",
              [](TestModel& m) {
                  reshapeTo(m, {4, 1, 49});
              },
              "Reshape giving ap49: its result is not one image or vector"},
        Spoil{"TransposeRepeats",
              [](TestModel& m) {
                  setAttributes(m.node("Transpose"), {attribute("perm", Shape{0, 1, 1})});
              },
              "Transpose giving rows64: its order of axes is no permutation"},
        Spoil{"TransposeMovesTheBatch",
              [](TestModel& m) {
                  setAttributes(m.node("Transpose"), {attribute("perm", Shape{2, 1, 0})});
              },
              "Transpose giving rows64: its order of axes is unsupported"},
        Spoil{"FlattenAxis",
              [](TestModel& m) { setAttributes(m.node("Flatten"), {attribute("axis", 2)}); },
              "Flatten giving vector: it does not keep the batch apart"},
        Spoil{"MeanAxes",
              [](TestModel& m) {
                  m.node("ReduceMean").attributes[0] = attribute("axes", Shape{1, 2});
              },
              "ReduceMean giving mean: it averages over other axes than 2 and 3"},
        Spoil{"DenseNotTransposed", [](TestModel& m) { setAttributes(m.node("Gemm"), {}); },
              "Gemm giving dense: its weights are not stored as rows of outputs"},
        Spoil{"DenseScaled",
              [](TestModel& m) { m.node("Gemm").attributes.push_back(attribute("alpha", 2.0F)); },
              "Gemm giving dense: it is scaled"},
        Spoil{"DenseWeights",
              [](TestModel& m) {
                  m.tensor("fw").dims = {128, 5};
              },
              "Gemm giving dense: its weights do not fit its input"},
        Spoil{"DenseBias",
              [](TestModel& m) {
                  m.tensor("fb").dims = {2, 80};
              },
              "Gemm giving dense: its bias does not fit its weights"},
        Spoil{"DenseInputRank", [](TestModel& m) { m.node("Gemm").inputs[0] = "gap"; },
              "Gemm giving dense: an input has a wrong number of dimensions"},
        Spoil{"SliceEmpty", [](TestModel& m) { m.tensor("seven").data[0] = 0; },
              "Slice giving rows7: a range is empty or negative"},
        Spoil{"SliceNegative", [](TestModel& m) { m.tensor("zero").data.assign(8, '\xff'); },
              "Slice giving rows7: a range is empty or negative"},
        Spoil{"SliceAxis", [](TestModel& m) { m.tensor("two").data[0] = 3; },
              "Slice giving rows7: an axis is out of range"},
        Spoil{"SliceAxisBeyond32Bits", [](TestModel& m) { m.tensor("two").data[4] = 1; },
              "Slice giving rows7: an axis is out of range"},
        Spoil{"SliceSteps", [](TestModel& m) { m.node("Slice").inputs.push_back("two"); },
              "Slice giving rows7: its steps are not 1"},
        Spoil{"SliceCounts", [](TestModel& m) { m.node("Slice").inputs[1] = "twenty"; },
              "Slice giving rows7: its ranges are incomplete"}),
    nameOf);

TEST(ModelRefusal, AcceptsTheModelsThatTheSpoiltOnesAreMadeOf) {
    EXPECT_EQ(reasonFor(convolutionModel().build()), "");
    EXPECT_EQ(reasonFor(everyOperatorModel().build()), "");
}

TEST(ModelRefusal, AcceptsConstantNodesAsConstants) {
    TestModel model = convolutionModel();
    const auto bias = model.tensor("b");
    npu::WireWriter tensor;
    tensor.ints(1, bias.dims);
    tensor.varint(2, kFloat);
    tensor.bytes(9, bias.data);
    npu::WireWriter value;
    value.bytes(1, "value");
    value.bytes(5, tensor.message());
    value.varint(20, 4);
    model.tensors.erase(model.tensors.begin() + 1);
    model.nodes.insert(model.nodes.begin(), {"Constant", {}, {"b"}, {value.message()}, ""});
    EXPECT_EQ(reasonFor(model.build()), "");
    model.nodes[0].attributes.push_back(attribute("more", 1));
    EXPECT_EQ(reasonFor(model.build()), "a Constant node has no single tensor value");
}

TEST(ModelRefusal, RefusesALengthUsedForAnotherValue) {
    TestModel model = everyOperatorModel();
    const auto at = std::find_if(model.nodes.begin(), model.nodes.end(),
                                 [](const TestNode& n) { return n.op == "Gemm"; });
    const auto length = model.nodes.insert(
        at, {"ReduceL2", {"both"}, {"length"}, {attribute("axes", Shape{1})}, ""});
    model.nodes.insert(length + 1, {"Div", {"vector", "length"}, {"unit2"}, {}, ""});
    EXPECT_EQ(reasonFor(model.build()), "Div giving unit2: it divides by another value's length");
    auto& divide = *std::find_if(model.nodes.begin(), model.nodes.end(),
                                 [](const TestNode& n) { return n.outputs[0] == "unit2"; });
    divide = {"Relu", {"length"}, {"unit2"}, {}, ""};
    EXPECT_EQ(reasonFor(model.build()),
              "Relu giving unit2: an input is not a computed float value");
}

TEST(ModelRefusal, RefusesANetworkThatIsTooLarge) {
    TestModel model = convolutionModel();
    model.inputs[0].dims = {1, 1, 2048, 2048};
    model.outputs[0].dims = {1, 2, 2048, 2048};
    for (int i = 0; i < 64; ++i) {
        const std::string from = i == 0 ? "r" : "more" + std::to_string(i - 1);
        model.nodes.insert(model.nodes.end() - 1,
                           {"Relu", {from}, {"more" + std::to_string(i)}, {}, ""});
    }
    EXPECT_EQ(reasonFor(model.build()), "the network is too large");
}

TEST(ModelRefusal, RefusesRangesOutsideTheWeights) {
    const ModelPair pair = convolutionModel().build();
    const std::string body = unsealed(pair.net);
    std::string far = body;
    const std::size_t bias = far.find(
        "offset\x12\x02"
        "72");
    ASSERT_NE(bias, std::string::npos);
    far.replace(bias, 10,
                "offset\x12\x02"
                "73");
    EXPECT_EQ(reasonFor({sealed(far), pair.blobs}), "a tensor lies outside the weights");
    std::string word = body;
    word.replace(bias, 10,
                 "offset\x12\x02"
                 "7x");
    EXPECT_EQ(reasonFor({sealed(word), pair.blobs}),
              "an external tensor's offset or length is no number");
    std::string other = body;
    other.replace(bias, 6, "offzet");
    EXPECT_EQ(reasonFor({sealed(other), pair.blobs}), "an external tensor has an unknown property");
}

TEST(ModelRefusal, NamesDamagedFiles) {
    ModelPair pair = convolutionModel().build();
    pair.blobs[3] ^= 1;
    EXPECT_EQ(reasonFor(pair), "the weights are damaged or of another network");
    pair.net[9] ^= 1;
    EXPECT_EQ(reasonFor(pair), "the description is damaged: its seal does not match");
    pair.net.resize(64);
    EXPECT_EQ(reasonFor(pair), "the description is too short");
    EXPECT_EQ(reasonFor({"", ""}), "the description is too short");
}

TEST(ModelRefusal, NeedsExactlyOneGraph) {
    const ModelPair pair = convolutionModel().build();
    const std::string body = unsealed(pair.net);
    npu::WireWriter emptyGraph;
    emptyGraph.bytes(7, "");
    EXPECT_EQ(reasonFor({sealed(emptyGraph.message() + body), pair.blobs}),
              "the model has no single graph");
    npu::WireWriter producer;  // a model of nothing but its maker's name, 64 bytes of it the seal
    producer.bytes(2, std::string(64, '0'));
    EXPECT_EQ(reasonFor({sealed(unsealed(producer.message())), pair.blobs}),
              "the model has no single graph");
}

TEST(ModelRefusal, NeedsTheDigestOfTheWeights) {
    const ModelPair pair = convolutionModel().build();
    std::string body = unsealed(pair.net);
    body.replace(body.find("blobs_sha256"), 5, "clubs");
    EXPECT_EQ(reasonFor({sealed(body), pair.blobs}),
              "the description names no digest of its weights");
}

TEST(ModelRefusal, ReportsItsReasonOnStandardError) {
    ModelPair pair = convolutionModel().build();
    pair.blobs[3] ^= 1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(verifyPair(pair), VX_FAILURE);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "brairu_npu: model refused: the weights are damaged or of another network\n");
}

}  // namespace
}  // namespace brairu::test
