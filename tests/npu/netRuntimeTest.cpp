#include "npu/netRuntime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <stdexcept>

#include "support/captureOutput.h"
#include "support/childProcess.h"
#include "support/scriptedNpu.h"

namespace brairu {
namespace {

using test::ChildResult;
using test::inChild;
using test::ScriptedNpu;
using test::stdoutOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

using Names = std::vector<std::string>;

constexpr char kSource[] = "src/some.cpp";
constexpr FrameSize kFrame{128, 128};
constexpr std::uint32_t kFrameBytes = 24'576;
constexpr std::uint32_t kPhysical = 0x40000000;
constexpr int kMinusOne = 255;  // as the parent sees an exit status of -1

// A line of a fault, of which the number varies with the source.
std::string faultLine(int status) {
    return "ERROR: failed with status = \\(" + std::to_string(status) +
           "\\) at src/some\\.cpp#[1-9][0-9]*\n";
}

ModelBuffer bufferOf(std::string_view text) {
    auto* bytes = static_cast<std::uint8_t*>(std::malloc(text.size()));
    std::copy(text.begin(), text.end(), bytes);
    return {{bytes, WipeAndFree{text.size()}}, static_cast<std::uint32_t>(text.size())};
}

std::vector<std::uint8_t> countingBytes(std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

class NetRuntimeTest : public testing::Test {
protected:
    NetRuntimeTest() {
        ScriptedNpu::reset();
        npu().networks[0].outputs = {{{1, 2, 3}, {3, 1, 1, 1}}};
    }

    static ScriptedNpu& npu() { return ScriptedNpu::get(); }

    void load() { runtime_.loadModels({bufferOf("description"), bufferOf("weights")}); }

    void prepare(FrameSize frame = kFrame) {
        load();
        runtime_.prepare(frame);
    }

    NetOutputs run() { return runtime_.run(frame_); }

    Names callsSince(std::size_t first) const {
        return {npu().calls.begin() + static_cast<std::ptrdiff_t>(first), npu().calls.end()};
    }

    std::vector<std::uint8_t> frame_ = countingBytes(kFrameBytes);
    NetRuntime runtime_{kSource};
};

// ---- Preparing

TEST_F(NetRuntimeTest, PreparesInOrder) {
    prepare();
    EXPECT_THAT(
        npu().calls,
        ElementsAre("LoadNetModelFromMem", "LoadNetModelFromMem", "vxCreateContext", "vxGetStatus",
                    "vxLoadKernels", "GetNetInputBlobs", "AllocateTensorDeviceMemory",
                    "CreateTensorFromHandle", "vxAllocateDeviceMemory",
                    "vxGetDeviceMemoryPhysicalAddress", "vxGetDeviceMemoryVirtualAddress",
                    "CreateNetGraph", "vxVerifyGraph", "UnLoadNetModel", "UnLoadNetModel"));
}

TEST_F(NetRuntimeTest, LoadsAndUnloadsTheDescriptionFirst) {
    prepare();
    const auto bytes = [](std::string_view text) {
        return std::vector<std::uint8_t>(text.begin(), text.end());
    };
    EXPECT_THAT(npu().models, ElementsAre(bytes("description"), bytes("weights")));
    EXPECT_THAT(npu().unloaded, ElementsAre(0u, 1u));
    EXPECT_EQ(npu().live["model"], 0);
}

TEST_F(NetRuntimeTest, PreparingPrintsNothing) {
    EXPECT_EQ(stdoutOf([&] { prepare(); }), "");
}

TEST_F(NetRuntimeTest, UnloadsModelsThatAreNeverPrepared) {
    {
        NetRuntime abandoned(kSource);
        abandoned.loadModels({bufferOf("description"), bufferOf("weights")});
        EXPECT_EQ(npu().liveHandles(), 2);
    }
    EXPECT_EQ(npu().liveHandles(), 0);
    EXPECT_EQ(npu().doubleReleases, 0);
}

struct FrameMemory {
    FrameSize frame;
    std::uint32_t bytes;
};

class FrameMemoryOf : public NetRuntimeTest, public testing::WithParamInterface<FrameMemory> {};

TEST_P(FrameMemoryOf, HoldsLumaAndHalfAsMuchChromaRoundedDown) {
    prepare(GetParam().frame);
    EXPECT_THAT(npu().allocatedBytes, ElementsAre(GetParam().bytes));
    EXPECT_EQ(runtime_.frameSize().width, GetParam().frame.width);
    EXPECT_EQ(runtime_.frameSize().height, GetParam().frame.height);
}

INSTANTIATE_TEST_SUITE_P(Sizes, FrameMemoryOf,
                         testing::Values(FrameMemory{{128, 128}, 24'576},
                                         FrameMemory{{256, 160}, 61'440}, FrameMemory{{5, 3}, 22},
                                         FrameMemory{{1, 1}, 1}, FrameMemory{{3, 2}, 9}));

// ---- Faults of preparing

struct Fault {
    const char* operation;
    int nth;
    int exitStatus;
    std::string line;
};

std::ostream& operator<<(std::ostream& stream, const Fault& fault) {
    return stream << fault.operation << " " << fault.nth;
}

class PrepareFault : public NetRuntimeTest, public testing::WithParamInterface<Fault> {};

TEST_P(PrepareFault, EndsTheProcess) {
    npu().failCall(GetParam().operation, GetParam().nth);
    const ChildResult result = inChild([&] { prepare(); });
    EXPECT_EQ(result.exitStatus, GetParam().exitStatus);
    EXPECT_THAT(result.out, MatchesRegex(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    Operations, PrepareFault,
    testing::Values(
        Fault{"LoadNetModelFromMem", 1, kMinusOne, "this face mode must be one input!\n"},
        Fault{"LoadNetModelFromMem", 2, 1, faultLine(-1)},
        Fault{"vxCreateContext", 1, 1, faultLine(-1)}, Fault{"vxGetStatus", 1, 1, faultLine(-7)},
        Fault{"vxLoadKernels", 1, 1, faultLine(-7)},
        Fault{"GetNetInputBlobs", 1, kMinusOne, "this face mode must be one input!\n"},
        Fault{"AllocateTensorDeviceMemory", 1, kMinusOne, "alloc image handle error!\n"},
        Fault{"CreateTensorFromHandle", 1, kMinusOne, "create image tensor error!\n"},
        Fault{"vxAllocateDeviceMemory", 1, kMinusOne, "alloc memory error!\n"},
        Fault{"vxGetDeviceMemoryVirtualAddress", 1, kMinusOne, "alloc memory error!\n"},
        Fault{"CreateNetGraph", 1, 1, faultLine(-1)}, Fault{"vxVerifyGraph", 1, 1, faultLine(-7)},
        Fault{"UnLoadNetModel", 1, 1, faultLine(-7)},
        Fault{"UnLoadNetModel", 2, 1, faultLine(-7)}));

class InputCount : public NetRuntimeTest, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(InputCount, OtherThanOneEndsTheProcess) {
    npu().inputCount = GetParam();
    const ChildResult result = inChild([&] { prepare(); });
    EXPECT_EQ(result.exitStatus, kMinusOne);
    EXPECT_EQ(result.out, "this face mode must be one input!\n");
}

INSTANTIATE_TEST_SUITE_P(Counts, InputCount, testing::Values(0u, 2u, 4u));

class ImpossibleFrame : public NetRuntimeTest, public testing::WithParamInterface<FrameSize> {};

TEST_P(ImpossibleFrame, EndsTheProcessWithoutAskingForMemory) {
    const ChildResult result = inChild([&] {
        std::atexit(
            [] { std::printf("%d allocations\n", npu().callsOf("vxAllocateDeviceMemory")); });
        prepare(GetParam());
    });
    EXPECT_EQ(result.exitStatus, kMinusOne);
    EXPECT_EQ(result.out, "alloc memory error!\n0 allocations\n");
}

INSTANTIATE_TEST_SUITE_P(Sizes, ImpossibleFrame,
                         testing::Values(FrameSize{0, 128}, FrameSize{128, 0}, FrameSize{-128, 128},
                                         FrameSize{-128, -128}, FrameSize{40'000, 40'000},
                                         FrameSize{std::numeric_limits<int>::max(),
                                                   std::numeric_limits<int>::max()}));

TEST_F(NetRuntimeTest, AnEmptyDescriptionEndsTheProcess) {
    const ChildResult result = inChild([&] {
        runtime_.loadModels({{}, bufferOf("weights")});
        runtime_.prepare(kFrame);
    });
    EXPECT_EQ(result.exitStatus, kMinusOne);
    EXPECT_EQ(result.out, "this face mode must be one input!\n");
}

TEST_F(NetRuntimeTest, EmptyWeightsEndTheProcessAtTheGraph) {
    const ChildResult result = inChild([&] {
        runtime_.loadModels({bufferOf("description"), {}});
        runtime_.prepare(kFrame);
    });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.out, MatchesRegex(faultLine(-1)));
}

// ---- Running

TEST_F(NetRuntimeTest, RunsInOrder) {
    prepare();
    const std::size_t before = npu().calls.size();
    { const NetOutputs outputs = run(); }
    EXPECT_THAT(callsSince(before),
                ElementsAre("vxFlushDeviceMemoryCache", "ImageConvertDeviceProcess",
                            "SetNetInputBlobsTensor", "vxProcessGraph", "vxFinish",
                            "GetNetOutputBlobsTensor", "vxQueryTensor", "vxQueryTensor",
                            "vxQueryTensor", "vxReleaseTensor"));
}

TEST_F(NetRuntimeTest, QueriesDimensionsThenSizeThenAddress) {
    prepare();
    run();
    EXPECT_THAT(npu().attributes, ElementsAre(0x81501, 0xD8150B, 0xD81509));
}

TEST_F(NetRuntimeTest, FlushesTheFrameThatItCopied) {
    prepare();
    run();
    EXPECT_THAT(npu().flushedBytes, ElementsAre(kFrameBytes));
    EXPECT_THAT(npu().frames, ElementsAre(frame_));
}

TEST_F(NetRuntimeTest, CopiesOddFramesRoundedDown) {
    prepare({5, 3});
    runtime_.run(countingBytes(30));
    EXPECT_THAT(npu().flushedBytes, ElementsAre(22u));
    EXPECT_THAT(npu().frames, ElementsAre(countingBytes(22)));
}

TEST_F(NetRuntimeTest, NeverCopiesMoreThanItWasGiven) {
    prepare();
    runtime_.run(countingBytes(100));
    EXPECT_THAT(npu().frames, ElementsAre(countingBytes(100)));
}

TEST_F(NetRuntimeTest, DescribesTheFrameToTheConverter) {
    prepare({192, 128});
    run();
    ASSERT_EQ(npu().converted.size(), 1u);
    const NpuImageDescriptor& image = npu().converted[0];
    EXPECT_EQ(image.width, 192);
    EXPECT_EQ(image.height, 128);
    EXPECT_EQ(image.strideY, 192);
    EXPECT_EQ(image.strideUV, 192);
    EXPECT_EQ(image.format, 2);
    EXPECT_EQ(image.physicalY, kPhysical);
    EXPECT_EQ(image.physicalUV, kPhysical + 192 * 128);
    EXPECT_EQ(image.reserved0, 0u);
    EXPECT_EQ(image.reserved1, 0u);
    EXPECT_EQ(image.outputWidth, 192);
    EXPECT_EQ(image.outputHeight, 128);
    EXPECT_THAT(npu().stridesUV, ElementsAre(192));
}

TEST_F(NetRuntimeTest, HandsOverTheLastOutput) {
    npu().networks[0].outputNames = {"first", "second"};
    npu().networks[0].outputs = {{{9}, {1, 1, 1, 1}}, {{4, 5, 6, 7}, {2, 2, 1, 1}}};
    prepare();
    const NetOutputs outputs = run();
    EXPECT_THAT(outputs.data(), ElementsAre(4, 5, 6, 7));
    EXPECT_THAT(outputs.dims(), ElementsAre(2u, 2u, 1u, 1u));
    EXPECT_EQ(outputs.firstName(), "first");
}

TEST_F(NetRuntimeTest, HasNoNameWithoutNames) {
    npu().networks[0].outputNames = {};
    prepare();
    EXPECT_EQ(run().firstName(), "");
}

TEST_F(NetRuntimeTest, ReadsNamesUpToTheEndOfTheField) {
    npu().networks[0].outputNames = {std::string(63, 'n')};
    prepare();
    EXPECT_EQ(run().firstName(), std::string(63, 'n'));
}

TEST_F(NetRuntimeTest, HandsOverAnOutputWithoutBytes) {
    npu().networks[0].outputs = {{{}, {}}};
    prepare();
    EXPECT_THAT(run().data(), IsEmpty());
}

TEST_F(NetRuntimeTest, ReleasesEveryOutputAfterEachRun) {
    npu().networks[0].outputs = {{{1}, {}}, {{2}, {}}, {{3}, {}}};
    prepare();
    const int prepared = npu().liveHandles();
    for (int i = 0; i < 3; ++i) {
        {
            const NetOutputs outputs = run();
            EXPECT_EQ(npu().liveHandles(), prepared + 3);
        }
        EXPECT_EQ(npu().liveHandles(), prepared);
    }
    EXPECT_EQ(npu().doubleReleases, 0);
}

TEST_F(NetRuntimeTest, ReleasesTheOutputsWhenAnExceptionPasses) {
    prepare();
    const int prepared = npu().liveHandles();
    const auto interruptedRun = [&] {
        const NetOutputs outputs = run();
        throw std::runtime_error("interrupted");
    };
    EXPECT_THROW(interruptedRun(), std::runtime_error);
    EXPECT_EQ(npu().liveHandles(), prepared);
}

class RunFault : public NetRuntimeTest, public testing::WithParamInterface<Fault> {};

TEST_P(RunFault, EndsTheProcess) {
    prepare();
    npu().failCall(GetParam().operation, GetParam().nth);
    if (std::string(GetParam().operation) == "vxReleaseTensor") {
        npu().networks[0].outputs.push_back({{4}, {}});
    }
    const ChildResult result = inChild([&] { run(); });
    EXPECT_EQ(result.exitStatus, GetParam().exitStatus);
    EXPECT_THAT(result.out, MatchesRegex(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(Operations, RunFault,
                         testing::Values(Fault{"vxFlushDeviceMemoryCache", 1, 1, faultLine(-7)},
                                         Fault{"ImageConvertDeviceProcess", 1, 1, faultLine(-7)},
                                         Fault{"SetNetInputBlobsTensor", 1, 1, faultLine(-7)},
                                         Fault{"vxProcessGraph", 1, 1, faultLine(-7)},
                                         Fault{"vxFinish", 1, 1, faultLine(-7)},
                                         Fault{"GetNetOutputBlobsTensor", 1, 1, faultLine(-7)},
                                         Fault{"vxQueryTensor", 1, 1, faultLine(-7)},
                                         Fault{"vxQueryTensor", 2, 1, faultLine(-7)},
                                         Fault{"vxQueryTensor", 3, 1, faultLine(-7)},
                                         Fault{"vxReleaseTensor", 1, 1, faultLine(-7)},
                                         Fault{"vxReleaseTensor", 2, 1, faultLine(-7)}));

TEST_F(NetRuntimeTest, PrintsTheStatusAsItCame) {
    npu().failureStatus = -2147483647;
    prepare();
    npu().failCall("vxProcessGraph");
    EXPECT_THAT(inChild([&] { run(); }).out, MatchesRegex(faultLine(-2147483647)));
}

TEST_F(NetRuntimeTest, ARunWithoutOutputsEndsTheProcess) {
    npu().networks[0].outputs = {};
    prepare();
    const ChildResult result = inChild([&] { run(); });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.out, MatchesRegex(faultLine(-1)));
}

// ---- Giving back

TEST_F(NetRuntimeTest, GivesBackInOrder) {
    prepare();
    run();
    npu().released.clear();
    const std::size_t before = npu().calls.size();
    EXPECT_EQ(stdoutOf([&] { runtime_.teardown(); }), "");
    EXPECT_THAT(callsSince(before),
                ElementsAre("vxFreeDeviceMemory", "vxReleaseTensor", "vxFreeDeviceMemory",
                            "vxReleaseGraph", "vxReleaseContext"));
    EXPECT_THAT(npu().released,
                ElementsAre("tensor memory", "tensor", "device memory", "graph", "context"));
    EXPECT_EQ(npu().liveHandles(), 0);
}

TEST_F(NetRuntimeTest, GivesBackWhatNeverRan) {
    prepare();
    runtime_.teardown();
    EXPECT_EQ(npu().liveHandles(), 0);
    EXPECT_EQ(npu().doubleReleases, 0);
}

TEST_F(NetRuntimeTest, GivesBackOnlyOnce) {
    prepare();
    runtime_.teardown();
    const std::size_t before = npu().calls.size();
    runtime_.teardown();
    EXPECT_THAT(callsSince(before), IsEmpty());
}

TEST_F(NetRuntimeTest, HasNothingToGiveBackBeforeItIsPrepared) {
    runtime_.teardown();
    EXPECT_THAT(npu().calls, IsEmpty());
}

TEST_F(NetRuntimeTest, GivesEverythingBackWhenItGoes) {
    {
        NetRuntime runtime(kSource);
        runtime.loadModels({bufferOf("description"), bufferOf("weights")});
        runtime.prepare(kFrame);
    }
    EXPECT_EQ(npu().liveHandles(), 0);
    EXPECT_EQ(npu().doubleReleases, 0);
}

class TeardownFault : public NetRuntimeTest,
                      public testing::WithParamInterface<std::pair<const char*, int>> {};

TEST_P(TeardownFault, IsReportedAndTheRestGivenBack) {
    prepare();
    npu().failCall(GetParam().first, GetParam().second);
    EXPECT_THAT(stdoutOf([&] { runtime_.teardown(); }), MatchesRegex(faultLine(-7)));
    EXPECT_EQ(npu().liveHandles(), 1) << "only what failed is left";
}

INSTANTIATE_TEST_SUITE_P(Operations, TeardownFault,
                         testing::Values(std::pair{"vxFreeDeviceMemory", 1},
                                         std::pair{"vxReleaseTensor", 1},
                                         std::pair{"vxFreeDeviceMemory", 2},
                                         std::pair{"vxReleaseGraph", 1},
                                         std::pair{"vxReleaseContext", 1}));

// ---- Reporting

TEST(NpuFaultsTest, SaysNothingAboutSuccess) {
    const NpuFaults faults(kSource);
    EXPECT_EQ(stdoutOf([&] {
                  faults.require(VX_SUCCESS);
                  faults.report(VX_SUCCESS);
              }),
              "");
}

TEST(NpuFaultsTest, NamesSourceAndLineOfTheCheck) {
    const NpuFaults faults(kSource);
    EXPECT_EQ(stdoutOf([&] { faults.report(3, 42); }),
              "ERROR: failed with status = (3) at src/some.cpp#42\n");
    const std::string line = std::to_string(__LINE__ + 1);
    EXPECT_EQ(stdoutOf([&] { faults.report(-5); }),
              "ERROR: failed with status = (-5) at src/some.cpp#" + line + "\n");
}

}  // namespace
}  // namespace brairu
