#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

#include "handles.h"
#include "npuSession.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;

class NpuRun : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(npu::Handles::all().live(), 0U); }
};

std::vector<std::uint8_t> pixels(std::size_t count, unsigned factor) {
    std::vector<std::uint8_t> image(count);
    for (std::size_t i = 0; i < count; ++i)
        image[i] = static_cast<std::uint8_t>(factor * i % 251);
    return image;
}

/// The convolution model by plain loops.
std::vector<std::int8_t> expectedScores(const std::vector<std::uint8_t>& image) {
    const int kernels[2][9] = {{0, 0, 0, 0, 1, 0, 0, 0, 0}, {1, 0, -1, 2, 0, -2, 1, 0, -1}};
    const int biases[2] = {-10, 6};
    std::vector<std::int8_t> scores;
    for (int channel = 0; channel < 2; ++channel) {
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 4; ++x) {
                int sum = biases[channel];
                for (int k = 0; k < 9; ++k) {
                    const int row = y + k / 3 - 1;
                    const int column = x + k % 3 - 1;
                    if (row < 0 || row > 3 || column < 0 || column > 3)
                        continue;
                    sum += kernels[channel][k] * image[static_cast<std::size_t>(4 * row + column)];
                }
                const double halves = std::nearbyint(std::max(sum, 0) / 2.0);
                scores.push_back(static_cast<std::int8_t>(std::min(halves, 127.0)));
            }
        }
    }
    return scores;
}

TEST_F(NpuRun, ComputesAKnownAnswer) {
    NpuSession session(convolutionModel().build());
    for (const unsigned factor : {1U, 7U, 15U, 100U}) {
        const std::vector<std::uint8_t> image = pixels(16, factor);
        const std::vector<Output> outputs = session.run(image);
        ASSERT_EQ(outputs.size(), 1U);
        EXPECT_EQ(outputs[0].values, expectedScores(image)) << factor;
    }
}

TEST_F(NpuRun, ReportsNamesWithoutTheQuantisedSuffix) {
    NpuSession session(convolutionModel().build());
    EXPECT_EQ(session.run(pixels(16, 1))[0].name, "scores");
}

TEST_F(NpuRun, ReportsDimensionsInnermostFirst) {
    NpuSession session(convolutionModel().build());
    EXPECT_THAT(session.run(pixels(16, 1))[0].dims, ElementsAre(4, 4, 2, 1));
}

TEST_F(NpuRun, SaturatesSignedBytes) {
    TestModel model = convolutionModel();
    model.tensor("b").data.assign(8, '\0');
    const float biases[2] = {1000.0F, -1000.0F};
    std::memcpy(model.tensor("b").data.data(), biases, sizeof biases);
    model.nodes.erase(model.nodes.begin() + 1);
    model.node("QuantizeLinear").inputs[0] = "c";
    NpuSession session(model.build());
    const std::vector<Output> outputs = session.run(std::vector<std::uint8_t>(16, 0));
    EXPECT_EQ(outputs[0].values.front(), 127);
    EXPECT_EQ(outputs[0].values.back(), -128);
}

TestModel renamed(TestModel model, const std::string& name) {
    model.tensor("scores_scale").name = name + "_scale";
    model.tensor("scores_zero_point").name = name + "_zero_point";
    model.node("QuantizeLinear").inputs = {"r", name + "_scale", name + "_zero_point"};
    model.node("QuantizeLinear").outputs = {name + "_quantized"};
    model.outputs[0].name = name + "_quantized";
    return model;
}

TEST_F(NpuRun, TakesPathLikeOutputNames) {
    for (const char* name : {"/model.22/Concat_6", "/model.22/Split/1", "output0", "a_quantized"}) {
        NpuSession session(renamed(convolutionModel(), name).build());
        const std::vector<std::uint8_t> image = pixels(16, 7);
        const std::vector<Output> outputs = session.run(image);
        EXPECT_EQ(outputs[0].name, name);
        EXPECT_EQ(outputs[0].values, expectedScores(image));
    }
}

TEST_F(NpuRun, CutsLongOutputNamesToTheField) {
    NpuSession session(renamed(convolutionModel(), std::string(100, 'n')).build());
    EXPECT_EQ(session.run(pixels(16, 1))[0].name, std::string(63, 'n'));
}

TEST_F(NpuRun, KeepsTheDeclaredOrderOfSeveralOutputs) {
    TestModel model = convolutionModel();
    model.quantise("c", "raw", 4.0F, {1, 2, 4, 4});
    std::swap(model.outputs[0], model.outputs[1]);
    NpuSession session(model.build());
    const std::vector<std::uint8_t> image = pixels(16, 7);
    const std::vector<Output> outputs = session.run(image);
    ASSERT_EQ(outputs.size(), 2U);
    EXPECT_EQ(outputs[0].name, "raw");
    EXPECT_EQ(outputs[1].name, "scores");
    EXPECT_EQ(outputs[1].values, expectedScores(image));
}

TEST_F(NpuRun, RunsEveryAllowedOperator) {
    NpuSession session(everyOperatorModel().build());
    const std::vector<Output> first = session.run(pixels(1024, 7));
    const std::vector<Output> other = session.run(pixels(1024, 31));
    const std::vector<Output> again = session.run(pixels(1024, 7));
    EXPECT_THAT(first[0].dims, ElementsAre(8, 84, 1, 1));
    EXPECT_EQ(first[0].values, again[0].values);
    EXPECT_NE(first[0].values, other[0].values);
    for (std::size_t row = 0; row < 84; ++row)
        EXPECT_EQ(first[0].values[8 * row + 7], 0);
}

/// [1, 1, 4, 4] -> 16 numbers brought to length 1.
TestModel unitVectorModel() {
    TestModel model;
    model.inputs.push_back({"image", kFloat, {1, 1, 4, 4}});
    model.floats("one", {}, {1.0F}, false);
    std::vector<float> identity(256, 0.0F);
    for (std::size_t i = 0; i < 16; ++i)
        identity[17 * i] = 1.0F;
    model.floats("w", {16, 16}, identity);
    model.nodes.push_back({"Mul", {"image", "one"}, {"real"}, {}, ""});
    model.nodes.push_back({"Flatten", {"real"}, {"flat"}, {}, ""});
    model.nodes.push_back({"Gemm", {"flat", "w"}, {"v"}, {attribute("transB", 1)}, ""});
    model.nodes.push_back({"ReduceL2",
                           {"v"},
                           {"length"},
                           {attribute("axes", Shape{1}), attribute("keepdims", 1)},
                           ""});
    model.nodes.push_back({"Div", {"v", "length"}, {"u"}, {}, ""});
    model.quantise("u", "unit", 1.0F / 127.0F, {1, 16});
    return model;
}

TEST_F(NpuRun, NormalisesVectors) {
    NpuSession session(unitVectorModel().build());
    const std::vector<std::uint8_t> image = pixels(16, 13);
    const std::vector<Output> outputs = session.run(image);
    const double length =
        std::sqrt(std::inner_product(image.begin(), image.end(), image.begin(), 0.0));
    EXPECT_THAT(outputs[0].dims, ElementsAre(16, 1, 1, 1));
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_NEAR(outputs[0].values[i], 127.0 * image[i] / length, 0.51);
    }
}

/// Three channels, summed with different weights.
TestModel colourModel() {
    TestModel model;
    model.inputs.push_back({"image", kFloat, {1, 3, 2, 2}});
    model.floats("w", {1, 3, 1, 1}, {0.5F, 0.0625F, 0.0078125F});
    model.nodes.push_back(
        {"Conv", {"image", "w"}, {"c"}, {attribute("kernel_shape", Shape{1, 1})}, ""});
    model.quantise("c", "sum", 1.0F, {1, 1, 2, 2});
    return model;
}

TEST_F(NpuRun, FeedsThreeChannelsAsPlanes) {
    NpuSession session(colourModel().build());
    EXPECT_THAT(session.inputs.records[0].dims, ElementsAre(2, 2, 3));
    // Grey 126 of the studio range is 128 of 255 in each plane: 64 + 8 + 1.
    EXPECT_THAT(session.run(std::vector<std::uint8_t>(4, 126))[0].values,
                ElementsAre(73, 73, 73, 73));
}

TEST_F(NpuRun, ScalesTheFrameToTheNetworksInput) {
    NpuSession session(convolutionModel().build());
    vx_device_memory large = vxAllocateDeviceMemory(session.context, 8 * 8 * 3 / 2);
    auto* bytes = static_cast<std::uint8_t*>(vxGetDeviceMemoryVirtualAddress(large));
    std::memset(bytes, 60, 64);
    const std::uint32_t physical = vxGetDeviceMemoryPhysicalAddress(large);
    session.descriptor = {8, 8, 8, 8, 2, physical, physical + 64, 0, 0, 8, 8};
    const std::vector<Output> outputs = session.run(std::vector<std::uint8_t>(16, 0));
    EXPECT_EQ(outputs[0].values[0], 25);
    EXPECT_EQ(vxFreeDeviceMemory(session.context, large), VX_SUCCESS);
}

TestModel twoInputModel() {
    TestModel model = convolutionModel();
    model.inputs.push_back({"mask", kFloat, {1, 1, 4, 4}});
    model.nodes[0].inputs[0] = "sum";
    model.nodes.insert(model.nodes.begin(), {"Add", {"image", "mask"}, {"sum"}, {}, ""});
    return model;
}

TEST_F(NpuRun, ListsTheInputsFromTheDescriptionAlone) {
    const NetModel net = loadModel(twoInputModel().build().net);
    NetInputBlobList inputs = {nullptr, 0};
    ASSERT_EQ(GetNetInputBlobs(net, &inputs), VX_SUCCESS);
    ASSERT_EQ(inputs.count, 2U);
    EXPECT_STREQ(inputs.records[0].name, "image");
    EXPECT_STREQ(inputs.records[1].name, "mask");
    EXPECT_THAT(inputs.records[1].dims, ElementsAre(4, 4, 1));
    EXPECT_EQ(inputs.records[0].tensor, nullptr);
    EXPECT_EQ(UnLoadNetModel(net), VX_SUCCESS);
}

TEST_F(NpuRun, ReportsInputDimensionsAsWidthHeightChannels) {
    TestModel model = convolutionModel();
    model.inputs[0].dims = {1, 3, 160, 256};
    const NetModel net = loadModel(model.build().net);
    NetInputBlobList inputs = {nullptr, 0};
    ASSERT_EQ(GetNetInputBlobs(net, &inputs), VX_SUCCESS);
    EXPECT_THAT(inputs.records[0].dims, ElementsAre(256, 160, 3));
    EXPECT_EQ(UnLoadNetModel(net), VX_SUCCESS);
}

TEST_F(NpuRun, HandsOutTheSameRecordsOnEveryCall) {
    const NetModel net = loadModel(convolutionModel().build().net);
    NetInputBlobList first = {nullptr, 0};
    NetInputBlobList second = {nullptr, 0};
    GetNetInputBlobs(net, &first);
    GetNetInputBlobs(net, &second);
    EXPECT_EQ(first.records, second.records);
    UnLoadNetModel(net);
}

TEST_F(NpuRun, NeedsEveryInputBound) {
    NpuSession session(twoInputModel().build());
    NetInputBlob* records = session.inputs.records;
    records[0].tensor = session.image;
    EXPECT_EQ(SetNetInputBlobsTensor(session.graph, &session.inputs, session.image, &records[0]),
              VX_SUCCESS);
    EXPECT_EQ(vxProcessGraph(session.graph), VX_FAILURE);
    records[1].tensor = session.image;
    EXPECT_EQ(SetNetInputBlobsTensor(session.graph, &session.inputs, session.image, &records[1]),
              VX_SUCCESS);
    EXPECT_EQ(vxProcessGraph(session.graph), VX_SUCCESS);
}

TEST_F(NpuRun, DoesNotRunUnverifiedOrUnboundGraphs) {
    NpuSession session(convolutionModel().build());
    session.inputs.records[0].tensor = session.image;
    EXPECT_EQ(vxProcessGraph(session.graph), VX_FAILURE);

    const ModelPair pair = convolutionModel().build();
    const NetModel net = loadModel(pair.net);
    const NetModel blobs = loadModel(pair.blobs);
    vx_graph graph = CreateNetGraph(session.context, net, blobs, 0x7fffffff, -1);
    EXPECT_EQ(
        SetNetInputBlobsTensor(graph, &session.inputs, session.image, &session.inputs.records[0]),
        VX_FAILURE);
    EXPECT_EQ(vxProcessGraph(graph), VX_FAILURE);
    EXPECT_EQ(vxReleaseGraph(&graph), VX_SUCCESS);
    UnLoadNetModel(net);
    UnLoadNetModel(blobs);
}

TEST_F(NpuRun, HasNoOutputsBeforeTheFirstRun) {
    NpuSession session(convolutionModel().build());
    session.inputs.records[0].tensor = session.image;
    NetOutputBlobList names = {nullptr, 9};
    NetTensorList tensors = {nullptr, 9};
    EXPECT_EQ(GetNetOutputBlobsTensor(session.graph, &names, &tensors), VX_FAILURE);
    EXPECT_EQ(names.count, 0U);
    EXPECT_EQ(tensors.count, 0U);
}

TEST_F(NpuRun, KeepsReleasedOutputsApartFromLaterRuns) {
    NpuSession session(convolutionModel().build());
    session.run(pixels(16, 7));
    NetOutputBlobList names = {nullptr, 0};
    NetTensorList tensors = {nullptr, 0};
    ASSERT_EQ(GetNetOutputBlobsTensor(session.graph, &names, &tensors), VX_SUCCESS);
    vx_tensor kept = tensors.tensors[0];
    const std::int8_t* data = nullptr;
    ASSERT_EQ(vxQueryTensor(kept, VX_TENSOR_DATA_ADDRESS, &data, sizeof data), VX_SUCCESS);
    session.run(pixels(16, 100));
    EXPECT_EQ(std::vector<std::int8_t>(data, data + 32), expectedScores(pixels(16, 7)));
    EXPECT_EQ(vxReleaseTensor(&kept), VX_SUCCESS);
}

TEST_F(NpuRun, BindsOnlyFittingTensorsUnderTheRecordsName) {
    NpuSession session(convolutionModel().build());
    NetInputBlob& record = session.inputs.records[0];
    const auto bind = [&session](vx_tensor tensor, NetInputBlob* input) {
        return SetNetInputBlobsTensor(session.graph, &session.inputs, tensor, input);
    };
    EXPECT_EQ(bind(session.image, &record), VX_FAILURE) << "the record's tensor is not set";
    record.tensor = session.image;
    EXPECT_EQ(bind(session.image, &record), VX_SUCCESS);
    NetInputBlob foreign = record;
    foreign.name[0] = 'x';
    EXPECT_EQ(bind(session.image, &foreign), VX_FAILURE);
    EXPECT_EQ(bind(session.image, nullptr), VX_FAILURE);
    EXPECT_EQ(SetNetInputBlobsTensor(session.graph, nullptr, session.image, &record), VX_FAILURE);

    const std::uint32_t dims[3] = {4, 5, 1};
    NetTensorMemory memory = AllocateTensorDeviceMemory(session.context, dims, 1);
    vx_tensor tall = CreateTensorFromHandle(session.context, dims, 1, memory);
    NetInputBlob copy = record;
    copy.tensor = tall;
    EXPECT_EQ(bind(tall, &copy), VX_FAILURE);
    vxReleaseTensor(&tall);
    vxFreeDeviceMemory(session.context, memory);
}

TEST_F(NpuRun, FailsWhenTheBoundTensorOrItsMemoryIsGone) {
    NpuSession session(convolutionModel().build());
    session.run(pixels(16, 1));
    vxFreeDeviceMemory(session.context, session.imageMemory);
    EXPECT_EQ(vxProcessGraph(session.graph), VX_FAILURE);
    session.imageMemory =
        AllocateTensorDeviceMemory(session.context, session.inputs.records[0].dims, 1);
    vxReleaseTensor(&session.image);
    EXPECT_EQ(vxProcessGraph(session.graph), VX_FAILURE);
    session.image = CreateTensorFromHandle(session.context, session.inputs.records[0].dims, 1,
                                           session.imageMemory);
    session.inputs.records[0].tensor = session.image;
    EXPECT_EQ(vxProcessGraph(session.graph), VX_FAILURE);
    EXPECT_EQ(session.run(pixels(16, 7))[0].values, expectedScores(pixels(16, 7)));
}

TEST_F(NpuRun, AnswersTensorQueriesOfTheRightSizeOnly) {
    NpuSession session(convolutionModel().build());
    session.inputs.records[0].tensor = session.image;
    std::uint32_t words[8] = {};
    const auto query = [&](std::int32_t attribute, std::size_t bytes) {
        return vxQueryTensor(session.image, attribute, words, bytes);
    };
    EXPECT_EQ(query(0x81501, 16), VX_SUCCESS);
    EXPECT_THAT(std::vector(words, words + 4), ElementsAre(4, 4, 1, 1));
    EXPECT_EQ(query(0xD8150B, 4), VX_SUCCESS);
    EXPECT_EQ(words[0], 16U);
    EXPECT_EQ(query(0xD81509, sizeof(void*)), VX_SUCCESS);
    EXPECT_EQ(query(0x81501, 12), VX_FAILURE);
    EXPECT_EQ(query(0xD8150B, 8), VX_FAILURE);
    EXPECT_EQ(query(0xD81509, sizeof(void*) + 4), VX_FAILURE);
    EXPECT_EQ(query(0x81502, 16), VX_FAILURE);
    EXPECT_EQ(vxQueryTensor(session.image, 0x81501, nullptr, 16), VX_FAILURE);
    EXPECT_EQ(vxQueryTensor(nullptr, 0x81501, words, 16), VX_FAILURE);
}

TEST_F(NpuRun, VerifiesAgainWithTheSameAnswer) {
    NpuSession session(convolutionModel().build());
    session.inputs.records[0].tensor = session.image;
    EXPECT_EQ(vxVerifyGraph(session.graph), VX_SUCCESS);

    ModelPair pair = convolutionModel().build();
    pair.blobs[0] ^= 1;
    const NetModel net = loadModel(pair.net);
    const NetModel blobs = loadModel(pair.blobs);
    vx_graph graph = CreateNetGraph(session.context, net, blobs, 0x7fffffff, -1);
    EXPECT_EQ(vxVerifyGraph(graph), VX_FAILURE);
    EXPECT_EQ(vxVerifyGraph(graph), VX_FAILURE);
    vxReleaseGraph(&graph);
    UnLoadNetModel(net);
    UnLoadNetModel(blobs);
}

}  // namespace
}  // namespace brairu::test
