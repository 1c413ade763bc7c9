#include "handPose/featureNetworks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "brairu.h"
#include "support/captureOutput.h"
#include "support/childProcess.h"
#include "support/engineFolder.h"
#include "support/scriptedNpu.h"

namespace brairu {
namespace {

using test::ChildResult;
using test::EngineFolder;
using test::inChild;
using test::ScriptedNpu;
using test::ScriptedTensor;
using test::stdoutOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::MatchesRegex;

constexpr char kFaultLine[] =
    "(.|\n)*ERROR: failed with status = \\(-7\\) at src/pvAuth\\.cpp#[1-9][0-9]*\n";
constexpr int kMinusOne = 255;

ScriptedTensor blockOf(std::uint8_t first) {
    ScriptedTensor tensor{std::vector<std::uint8_t>(512), {512, 1, 1, 1}};
    std::iota(tensor.data.begin(), tensor.data.end(), first);
    return tensor;
}

cv::Mat grey(int level, int side = 128) {
    return {side, side, CV_8UC1, cv::Scalar(level)};
}

PalmImages somePalm() {
    return {grey(50), grey(100), grey(150)};
}

class FeatureNetworksTest : public testing::Test {
protected:
    FeatureNetworksTest() {
        ScriptedNpu::reset();
        npu().networks[0].outputs = {blockOf(1)};
        npu().networks[1].outputsOfRun = {{blockOf(2)}, {blockOf(3)}};
        npu().networks[1].outputs = {blockOf(2)};
    }

    static ScriptedNpu& npu() { return ScriptedNpu::get(); }

    std::unique_ptr<FeatureNetworks> start() {
        std::unique_ptr<FeatureNetworks> networks;
        stdoutOf([&] { networks = std::make_unique<FeatureNetworks>(folder_.document); });
        return networks;
    }

    // What one prepared network holds: context, tensor memory, tensor, frame memory, graph.
    static constexpr int kHandlesPerNetwork = 5;

    EngineFolder folder_;
    std::vector<std::uint8_t> features_ = std::vector<std::uint8_t>(PVA_FEATURE_BYTES, 0xee);
};

TEST_F(FeatureNetworksTest, ReportsEachStepOfLoading) {
    std::unique_ptr<FeatureNetworks> networks;
    const auto line = [&](const char* start, const char* file, const char* end) {
        return start + folder_.file(file) + end;
    };
    EXPECT_EQ(stdoutOf([&] { networks = std::make_unique<FeatureNetworks>(folder_.document); }),
              line("start load model ", "feature.net", " \r\n") +
                  line("start load model ", "feature.blobs", " \r\n") +
                  line("load model ", "feature.blobs", " complete\n") +
                  line("start load model ", "support.net", " \r\n") +
                  line("start load model ", "support.blobs", " \r\n") +
                  line("load model ", "support.blobs", " complete\n"));
    stdoutOf([&] { networks.reset(); });
}

TEST_F(FeatureNetworksTest, PreparesTheFeatureNetworkWholeAndThenTheSupportNetwork) {
    const auto networks = start();
    const std::vector<std::string> one{"LoadNetModelFromMem",
                                       "LoadNetModelFromMem",
                                       "vxCreateContext",
                                       "vxGetStatus",
                                       "vxLoadKernels",
                                       "GetNetInputBlobs",
                                       "AllocateTensorDeviceMemory",
                                       "CreateTensorFromHandle",
                                       "vxAllocateDeviceMemory",
                                       "vxGetDeviceMemoryPhysicalAddress",
                                       "vxGetDeviceMemoryVirtualAddress",
                                       "CreateNetGraph",
                                       "vxVerifyGraph",
                                       "UnLoadNetModel",
                                       "UnLoadNetModel"};
    std::vector<std::string> both = one;
    both.insert(both.end(), one.begin(), one.end());
    EXPECT_EQ(npu().calls, both);
    const auto bytes = [](std::string_view text) {
        return std::vector<std::uint8_t>(text.begin(), text.end());
    };
    EXPECT_THAT(npu().models, ElementsAre(bytes("feature net"), bytes("feature blobs"),
                                          bytes("support net"), bytes("support blobs")));
    EXPECT_EQ(npu().liveHandles(), 2 * kHandlesPerNetwork);
}

TEST_F(FeatureNetworksTest, HasFrameMemoryFor128x128WhateverIsConfigured) {
    folder_.document["feature"]["input_w"] = 64;
    folder_.document["feature"]["input_h"] = 256;
    const auto networks = start();
    EXPECT_THAT(npu().allocatedBytes, ElementsAre(24'576u, 24'576u));
}

TEST_F(FeatureNetworksTest, RunsTheWholeThenRegionAThenRegionB) {
    const auto networks = start();
    networks->extract(somePalm(), features_.data());
    EXPECT_THAT(npu().processed, ElementsAre(0u, 1u, 1u));
    const auto lumaOfRun = [&](std::size_t run) { return static_cast<int>(npu().frames[run][0]); };
    EXPECT_NEAR(lumaOfRun(0), 16 + 0.859 * 150, 0.6) << "whole";
    EXPECT_NEAR(lumaOfRun(1), 16 + 0.859 * 50, 0.6) << "region A";
    EXPECT_NEAR(lumaOfRun(2), 16 + 0.859 * 100, 0.6) << "region B";
}

TEST_F(FeatureNetworksTest, CopiesTheOutputsIntoTheirBlocks) {
    const auto networks = start();
    networks->extract(somePalm(), features_.data());
    std::vector<std::uint8_t> expected = blockOf(2).data;
    for (const std::uint8_t first : {std::uint8_t{3}, std::uint8_t{1}}) {
        const std::vector<std::uint8_t> block = blockOf(first).data;
        expected.insert(expected.end(), block.begin(), block.end());
    }
    EXPECT_EQ(features_, expected);
}

TEST_F(FeatureNetworksTest, HandsOverPlanarFramesWithNeutralChroma) {
    const auto networks = start();
    networks->extract(somePalm(), features_.data());
    EXPECT_THAT(npu().flushedBytes, ElementsAre(24'576u, 24'576u, 24'576u));
    for (const auto& frame : npu().frames) {
        ASSERT_EQ(frame.size(), 24'576u);
        EXPECT_TRUE(std::all_of(frame.begin() + 128 * 128, frame.end(),
                                [](std::uint8_t byte) { return byte == 128; }));
    }
    ASSERT_EQ(npu().converted.size(), 3u);
    for (const NpuImageDescriptor& image : npu().converted) {
        EXPECT_EQ(image.width, 128);
        EXPECT_EQ(image.height, 128);
        EXPECT_EQ(image.strideY, 128);
        EXPECT_EQ(image.strideUV, 128);
        EXPECT_EQ(image.physicalUV - image.physicalY, 16'384u);
    }
}

TEST_F(FeatureNetworksTest, RunsOneNetworkIntoTheSlotThatIsAskedFor) {
    const auto networks = start();
    networks->runFeature(cv::Mat(192, 128, CV_8UC1, cv::Scalar(7)), features_.data(), 0, 1);
    EXPECT_THAT(npu().processed, ElementsAre(0u));
    std::vector<std::uint8_t> expected(PVA_FEATURE_BYTES, 0xee);
    const std::vector<std::uint8_t> block = blockOf(1).data;
    std::copy(block.begin(), block.end(), expected.begin() + 512);
    EXPECT_EQ(features_, expected) << "the other slots stay";
}

TEST_F(FeatureNetworksTest, NeverOverflowsTheFrameMemory) {
    const auto networks = start();
    networks->extract({grey(1, 256), grey(2, 256), grey(3, 256)}, features_.data());
    EXPECT_THAT(npu().flushedBytes, ElementsAre(24'576u, 24'576u, 24'576u));
}

TEST_F(FeatureNetworksTest, CopiesNoMoreThanASmallerImageHas) {
    const auto networks = start();
    networks->extract({grey(1, 64), grey(2, 64), grey(3, 64)}, features_.data());
    EXPECT_THAT(npu().flushedBytes, ElementsAre(6144u, 6144u, 6144u));
}

TEST_F(FeatureNetworksTest, ReleasesTheOutputsOfEveryRun) {
    const auto networks = start();
    for (int i = 0; i < 5; ++i) {
        networks->extract(somePalm(), features_.data());
        EXPECT_EQ(npu().liveHandles(), 2 * kHandlesPerNetwork);
    }
    EXPECT_EQ(npu().doubleReleases, 0);
}

class OutputLength : public FeatureNetworksTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(OutputLength, OtherThanOneBlockEndsTheProcess) {
    const auto networks = start();
    npu().networks[0].outputs[0].data.resize(GetParam());
    const ChildResult result = inChild([&] { networks->extract(somePalm(), features_.data()); });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.out, MatchesRegex("ERROR: failed with status = \\(-1\\) at "
                                         "src/pvAuth\\.cpp#[1-9][0-9]*\n"));
}

INSTANTIATE_TEST_SUITE_P(Bytes, OutputLength, testing::Values(0, 511, 513, 1024));

struct Fault {
    const char* operation;
    int nth;
};

std::ostream& operator<<(std::ostream& stream, const Fault& fault) {
    return stream << fault.operation << " " << fault.nth;
}

class FeatureStartFault : public FeatureNetworksTest, public testing::WithParamInterface<Fault> {};

TEST_P(FeatureStartFault, NamesTheSourceFile) {
    npu().failCall(GetParam().operation, GetParam().nth);
    const ChildResult result = inChild([&] { FeatureNetworks networks(folder_.document); });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.out, MatchesRegex(kFaultLine));
}

INSTANTIATE_TEST_SUITE_P(Operations, FeatureStartFault,
                         testing::Values(Fault{"vxGetStatus", 1}, Fault{"vxGetStatus", 2},
                                         Fault{"vxLoadKernels", 1}, Fault{"vxLoadKernels", 2},
                                         Fault{"vxVerifyGraph", 1}, Fault{"vxVerifyGraph", 2},
                                         Fault{"UnLoadNetModel", 1}, Fault{"UnLoadNetModel", 4}));

class FeatureRunFault : public FeatureNetworksTest, public testing::WithParamInterface<Fault> {};

TEST_P(FeatureRunFault, NamesTheSourceFile) {
    const auto networks = start();
    npu().failCall(GetParam().operation, GetParam().nth);
    const ChildResult result = inChild([&] { networks->extract(somePalm(), features_.data()); });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.out, MatchesRegex(kFaultLine));
}

INSTANTIATE_TEST_SUITE_P(Operations, FeatureRunFault,
                         testing::Values(Fault{"vxProcessGraph", 1}, Fault{"vxProcessGraph", 2},
                                         Fault{"vxProcessGraph", 3}, Fault{"vxQueryTensor", 1},
                                         Fault{"vxQueryTensor", 5}, Fault{"vxQueryTensor", 9},
                                         Fault{"vxReleaseTensor", 1}, Fault{"vxReleaseTensor", 3},
                                         Fault{"vxFinish", 2}));

class SupportAllocationFault
    : public FeatureNetworksTest,
      public testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(SupportAllocationFault, EndsTheProcess) {
    const auto [operation, message] = GetParam();
    npu().failCall(operation, 2);
    const ChildResult result = inChild([&] { FeatureNetworks networks(folder_.document); });
    EXPECT_EQ(result.exitStatus, kMinusOne);
    EXPECT_THAT(result.out, EndsWith("support.blobs complete\n" + std::string(message) + "\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Operations, SupportAllocationFault,
    testing::Values(std::pair{"AllocateTensorDeviceMemory", "alloc image handle error!"},
                    std::pair{"CreateTensorFromHandle", "create image tensor error!"},
                    std::pair{"vxAllocateDeviceMemory", "alloc memory error!"},
                    std::pair{"GetNetInputBlobs", "this face mode must be one input!"}));

TEST_F(FeatureNetworksTest, GoesOnWithoutADescriptionUntilTheStackRefuses) {
    folder_.document["feature"]["support_model_path_net"] = folder_.file("missing");
    const ChildResult result = inChild([&] { FeatureNetworks networks(folder_.document); });
    EXPECT_EQ(result.exitStatus, kMinusOne);
    EXPECT_THAT(result.out, EndsWith("start load model " + folder_.file("missing") +
                                     " \r\n无法打开输入文件：\r\nload handpose model net fail!\n"
                                     "start load model " +
                                     folder_.file("support.blobs") + " \r\nload model " +
                                     folder_.file("support.blobs") +
                                     " complete\nthis face mode must be one input!\n"));
}

TEST_F(FeatureNetworksTest, GoesOnWithoutWeightsUntilTheStackRefuses) {
    folder_.document["feature"]["model_path_blobs"] = folder_.file("missing");
    const ChildResult result = inChild([&] { FeatureNetworks networks(folder_.document); });
    EXPECT_EQ(result.exitStatus, 1);
    const std::string start = "start load model " + folder_.file("feature.net") +
                              " \r\nstart load model " + folder_.file("missing") +
                              " \r\n无法打开输入文件：\r\nload handpose model blobs fail!\n"
                              "load model " +
                              folder_.file("missing") + " complete\n";
    EXPECT_THAT(result.out, testing::StartsWith(start));
    EXPECT_THAT(result.out, MatchesRegex("(.|\n)*ERROR: failed with status = \\(-1\\) at "
                                         "src/pvAuth\\.cpp#[1-9][0-9]*\n"));
}

TEST_F(FeatureNetworksTest, NeedsEveryPathAndLeavesNothingBehindWithoutOne) {
    for (const char* key : {"model_path_net", "model_path_blobs", "support_model_path_net",
                            "support_model_path_blobs"}) {
        nlohmann::ordered_json document = folder_.document;
        document["feature"].erase(key);
        stdoutOf(
            [&] { EXPECT_THROW(FeatureNetworks{document}, nlohmann::json::type_error) << key; });
        EXPECT_EQ(npu().liveHandles(), 0) << key;
    }
    EXPECT_EQ(npu().doubleReleases, 0);
}

TEST_F(FeatureNetworksTest, ReadsThePathOfTheDescriptionBeforeThatOfTheWeights) {
    nlohmann::ordered_json document = folder_.document;
    document["feature"]["model_path_net"] = 5;
    document["feature"].erase("model_path_blobs");
    try {
        FeatureNetworks networks(document);
        FAIL() << "no exception";
    } catch (const nlohmann::json::type_error& fault) {
        EXPECT_THAT(fault.what(), EndsWith("type must be string, but is number"));
    }
}

TEST_F(FeatureNetworksTest, RefusesOddImagesBeforeAnyRun) {
    const auto networks = start();
    for (const cv::Size size : {cv::Size(127, 128), cv::Size(128, 127)}) {
        const cv::Mat image(size, CV_8UC1, cv::Scalar(90));
        EXPECT_THROW(networks->extract({image, image, image}, features_.data()),
                     std::invalid_argument);
    }
    EXPECT_EQ(npu().callsOf("vxProcessGraph"), 0);
    EXPECT_THAT(features_, testing::Each(0xee));
}

TEST_F(FeatureNetworksTest, GivesBothNetworksBackUnderOneLine) {
    auto networks = start();
    npu().released.clear();
    EXPECT_EQ(stdoutOf([&] { networks.reset(); }), "release pvauth\r\n");
    EXPECT_THAT(npu().released,
                ElementsAre("tensor memory", "tensor", "device memory", "graph", "context",
                            "tensor memory", "tensor", "device memory", "graph", "context"));
    EXPECT_EQ(npu().liveHandles(), 0);
    EXPECT_EQ(npu().doubleReleases, 0);
}

TEST_F(FeatureNetworksTest, ReportsFaultsOfGivingBack) {
    auto networks = start();
    npu().failCall("vxReleaseGraph", 2);
    EXPECT_THAT(stdoutOf([&] { networks.reset(); }),
                MatchesRegex("release pvauth\r\nERROR: failed with status = \\(-7\\) at "
                             "src/pvAuth\\.cpp#[1-9][0-9]*\n"));
    EXPECT_EQ(npu().liveHandles(), 1);
}

}  // namespace
}  // namespace brairu
