// Every operation of the NPU stack fails, on each of its calls in the life of an engine: start, one
// frame from hand to features, stop, and the end of the process. Each life is a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "brairu.h"
#include "support/childProcess.h"
#include "support/engineFolder.h"
#include "support/poseOutput.h"
#include "support/scriptedNpu.h"

namespace brairu::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::uint32_t kWidth = 640;
constexpr std::uint32_t kHeight = 480;
constexpr int kUnprepared = 255;  // exit(-1)

// What a failed call leads to.
enum class Effect {
    fault,       // the fault line with the status of the call, and exit status 1
    laterFault,  // the same with the status of the next operation that is asked
    noInput,     // words of their own, and exit status 255
    noHandle,    //
    noTensor,    //
    noMemory,    //
    reported,    // the fault line; nothing ends
    without      // nothing
};

struct NpuOperation {
    const char* name;
    Effect atStart;
    Effect atFrame;
    Effect atEnd;
};

constexpr Effect kNever = Effect::without;

const std::vector<NpuOperation> kOperations{
    {"LoadNetModelFromMem", Effect::noInput, kNever, kNever},  // of weights: laterFault
    {"UnLoadNetModel", Effect::fault, kNever, kNever},
    {"GetNetInputBlobs", Effect::noInput, kNever, kNever},
    {"vxCreateContext", Effect::laterFault, kNever, kNever},
    {"vxGetStatus", Effect::fault, kNever, kNever},
    {"vxLoadKernels", Effect::fault, kNever, kNever},
    {"vxFinish", kNever, Effect::fault, kNever},
    {"vxReleaseContext", kNever, kNever, Effect::reported},
    {"vxAllocateDeviceMemory", Effect::noMemory, kNever, kNever},
    {"vxGetDeviceMemoryPhysicalAddress", Effect::without, kNever, kNever},
    {"vxGetDeviceMemoryVirtualAddress", Effect::noMemory, kNever, kNever},
    {"vxFlushDeviceMemoryCache", kNever, Effect::fault, kNever},
    {"vxFreeDeviceMemory", kNever, kNever, Effect::reported},
    {"AllocateTensorDeviceMemory", Effect::noHandle, kNever, kNever},
    {"CreateTensorFromHandle", Effect::noTensor, kNever, kNever},
    {"vxQueryTensor", kNever, Effect::fault, kNever},
    {"vxReleaseTensor", kNever, Effect::fault, Effect::reported},
    {"CreateNetGraph", Effect::laterFault, kNever, kNever},
    {"vxVerifyGraph", Effect::fault, kNever, kNever},
    {"vxReleaseGraph", kNever, kNever, Effect::reported},
    {"ImageConvertDeviceProcess", kNever, Effect::fault, kNever},
    {"SetNetInputBlobsTensor", kNever, Effect::fault, kNever},
    {"vxProcessGraph", kNever, Effect::fault, kNever},
    {"GetNetOutputBlobsTensor", kNever, Effect::fault, kNever},
};

enum class Phase { start, frame, end };

// One call in the life of a healthy engine.
struct Call {
    std::string operation;
    int number;   // of that operation, from 1
    int network;  // that it is made for: 1 and 2 of the features, 3 of the hand
    Phase phase;
};

const char* sourceFileOf(const Call& call) {
    return call.network == 3 ? "src/handPose.cpp" : "src/pvAuth.cpp";
}

class NpuFaults : public testing::Test {
protected:
    NpuFaults() {
        ScriptedNpu::reset();
        const ScriptedTensor small{std::vector<std::uint8_t>(8), {}};
        const ScriptedTensor feature{std::vector<std::uint8_t>(PVA_FEATURE_BLOCK_BYTES, 3), {}};
        auto& networks = ScriptedNpu::get().networks;
        networks[0].outputs = {small, feature};
        networks[1].outputs = {small, feature};
        networks[2].outputs = {small, {PoseOutput(336).put(100, {90, kUprightHand}).bytes(), {}}};
        folder_.writeConfig();
    }

    // The whole life of an engine; afterwards a line for what the stack counted.
    void live() const;
    ChildResult lifeWith(const Call& failing) const;
    void endBesideOtherCalls() const;
    std::vector<Call> healthyCalls() const;

    EngineFolder folder_;
};

void mark(const char* phase) {
    ScriptedNpu::get().calls.emplace_back(phase);
}

// Runs after all objects are gone.
void printCounts() {
    const ScriptedNpu& npu = ScriptedNpu::get();
    std::printf("handles %d, double releases %d\n", npu.liveHandles(), npu.doubleReleases);
    for (const std::string& call : npu.calls) {
        std::printf("call %s\n", call.c_str());
    }
}

void NpuFaults::live() const {
    std::atexit(printCounts);
    std::vector<std::uint8_t> frame(kWidth * kHeight, 100);
    std::vector<std::uint8_t> features(PVA_FEATURE_BYTES);
    PvaHandPose pose{};
    EXPECT_EQ(init_pva(folder_.configPath().c_str()), 1u);
    mark("frame");
    EXPECT_EQ(pvaGetHandPose(frame.data(), kWidth, kHeight, &pose), 1u);
    EXPECT_EQ(pvaGetFeat(frame.data(), kWidth, kHeight, &pose, features.data()), 0u);
    EXPECT_EQ(features[0], 3);
    deinit_pva();
    mark("end");
}

ChildResult NpuFaults::lifeWith(const Call& failing) const {
    return inChild([&] {
        ScriptedNpu::get().failCall(failing.operation, failing.number);
        live();
    });
}

// The network that each call is made for follows from the order: two models a network at the start;
// the hand, then whole palm and twice the support for a frame; at the end the hand goes first.
class NetworkCounter {
public:
    int of(const std::string& operation, Phase phase) {
        if (phase == Phase::start) {
            models_ += operation == "LoadNetModelFromMem";
            return (models_ + 1) / 2;
        }
        if (phase == Phase::frame) {
            runs_ += operation == "vxFlushDeviceMemoryCache";
            return runs_ <= 1 ? 3 : 1;
        }
        const int network = contexts_ == 0 ? 3 : 1;
        contexts_ += operation == "vxReleaseContext";
        return network;
    }

private:
    int models_ = 0;
    int runs_ = 0;
    int contexts_ = 0;
};

std::vector<Call> NpuFaults::healthyCalls() const {
    const ChildResult life = inChild([&] { live(); });
    EXPECT_EQ(life.exitStatus, 0) << life.out << life.err;
    EXPECT_THAT(life.out, HasSubstr("handles 0, double releases 0\n"));
    std::vector<Call> calls;
    std::map<std::string, int> numbers;
    NetworkCounter networks;
    Phase phase = Phase::start;
    std::istringstream lines(life.out);
    for (std::string word; lines >> word;) {
        if (word != "call") {
            continue;
        }
        lines >> word;
        if (word == "frame" || word == "end") {
            phase = word == "frame" ? Phase::frame : Phase::end;
        } else {
            calls.push_back({word, ++numbers[word], networks.of(word, phase), phase});
        }
    }
    return calls;
}

const NpuOperation& operationOf(const Call& call) {
    const auto found = std::ranges::find_if(
        kOperations, [&](const NpuOperation& each) { return call.operation == each.name; });
    return found != kOperations.end() ? *found : throw std::logic_error(call.operation);
}

Effect effectOf(const Call& call) {
    const NpuOperation& operation = operationOf(call);
    switch (call.phase) {
        case Phase::frame: return operation.atFrame;
        case Phase::end: return operation.atEnd;
        case Phase::start: break;
    }
    const bool weights = call.operation == "LoadNetModelFromMem" && call.number % 2 == 0;
    return weights ? Effect::laterFault : operation.atStart;
}

std::size_t faultLines(const std::string& out) {
    const std::regex line("ERROR: failed with status = ");
    return static_cast<std::size_t>(
        std::distance(std::sregex_iterator(out.begin(), out.end(), line), {}));
}

void expectFaultLine(const ChildResult& life, const Call& call, int status) {
    const std::string file = std::regex_replace(sourceFileOf(call), std::regex("\\."), "\\.");
    const std::regex line("(^|\n)ERROR: failed with status = \\(" + std::to_string(status) +
                          "\\) at " + file + "#[1-9][0-9]*\n");
    EXPECT_TRUE(std::regex_search(life.out, line)) << life.out;
    EXPECT_EQ(faultLines(life.out), 1u) << life.out;
}

void expectWords(const ChildResult& life, const char* words) {
    EXPECT_EQ(life.exitStatus, kUnprepared);
    EXPECT_THAT(life.out, HasSubstr(std::string("\n") + words + "\n"));
    EXPECT_EQ(faultLines(life.out), 0u);
}

void expectEffect(const ChildResult& life, const Call& call, Effect effect) {
    const int status = ScriptedNpu::get().failureStatus;
    switch (effect) {
        case Effect::fault: expectFaultLine(life, call, status); break;
        case Effect::laterFault: expectFaultLine(life, call, VX_FAILURE); break;
        case Effect::reported: expectFaultLine(life, call, status); break;
        case Effect::noInput: expectWords(life, "this face mode must be one input!"); break;
        case Effect::noHandle: expectWords(life, "alloc image handle error!"); break;
        case Effect::noTensor: expectWords(life, "create image tensor error!"); break;
        case Effect::noMemory: expectWords(life, "alloc memory error!"); break;
        case Effect::without: EXPECT_EQ(faultLines(life.out), 0u); break;
    }
}

// A life that reaches its end gives every handle back once, but for the one whose release failed.
void expectHandles(const ChildResult& life, Effect effect) {
    EXPECT_THAT(life.out, HasSubstr(", double releases 0\n"));
    if (effect == Effect::without || effect == Effect::reported) {
        EXPECT_EQ(life.exitStatus, 0) << life.err;
        EXPECT_THAT(life.out, HasSubstr(effect == Effect::reported ? "handles 1," : "handles 0,"));
    } else {
        EXPECT_TRUE(life.exitStatus == 1 || life.exitStatus == kUnprepared) << life.exitStatus;
        EXPECT_THAT(life.out, Not(HasSubstr("call end\n")));
    }
    if (effect == Effect::fault || effect == Effect::laterFault) {
        EXPECT_EQ(life.exitStatus, 1);
    }
}

// The fault ends the process while calls of other threads are under way, as the header allows.
void NpuFaults::endBesideOtherCalls() const {
    EXPECT_EQ(init_pva(folder_.configPath().c_str()), 1u);
    const PvaUserKey key{1, 1, {}};
    const std::vector<std::uint8_t> row(PVA_TEMPLATE_BYTES, 3);
    EXPECT_EQ(pvaDataBaseAddUser(&key, row.data()), 1);
    std::thread([&] {
        for (PvaAuthResult result{};;) {
            pvaGet1to1AuthRes(row.data(), row.data(), &result);
        }
    }).detach();
    std::thread([&] {
        while (true) {
            pvaDataBaseUpdateUser(&key, row.data());
        }
    }).detach();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const std::vector<std::uint8_t> frame(kWidth * kHeight, 100);
    PvaHandPose pose{};
    pvaGetHandPose(frame.data(), kWidth, kHeight, &pose);
}

TEST_F(NpuFaults, EndTheProcessWithTheirStatusBesideTheCallsOfOtherThreads) {
    for (int life = 0; life < 30; ++life) {
        const ChildResult result = inChild([&] {
            ScriptedNpu::get().failCall("vxProcessGraph", 1);
            endBesideOtherCalls();
        });
        ASSERT_EQ(result.exitStatus, 1) << result.out << result.err;
        ASSERT_EQ(faultLines(result.out), 1u) << result.out;
    }
}

// What a host made before its first start goes after the engine, and may still ask.
TEST_F(NpuFaults, LeaveNoLockBehindForTheHandlersOfTheProcessEnd) {
    static const PvaUserKey key{1, 1, {}};
    const ChildResult result = inChild([&] {
        ::alarm(20);
        std::atexit([] { std::printf("asked: %d\n", pvaDataBaseExistUser(&key)); });
        EXPECT_EQ(init_pva(folder_.configPath().c_str()), 1u);
        const std::vector<std::uint8_t> row(PVA_TEMPLATE_BYTES, 3);
        EXPECT_EQ(pvaDataBaseAddUser(&key, row.data()), 1);
        EXPECT_EQ(pvaDataBaseExistUser(&key), 1);
    });
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("asked: 0\n"));
}

TEST_F(NpuFaults, EveryCallInALifeOfTheEngineFailsAsItShould) {
    const std::vector<Call> calls = healthyCalls();
    std::map<std::string, int> tried;
    for (const Call& call : calls) {
        SCOPED_TRACE(call.operation + " #" + std::to_string(call.number));
        const ChildResult life = lifeWith(call);
        expectEffect(life, call, effectOf(call));
        expectHandles(life, effectOf(call));
        ++tried[call.operation];
    }
    for (const NpuOperation& operation : kOperations) {
        EXPECT_GT(tried[operation.name], 0) << operation.name << " was never called";
        std::printf("%-34s failed on each of its calls: %d\n", operation.name,
                    tried[operation.name]);
    }
}

TEST_F(NpuFaults, NoOperationOfTheHeaderIsForgotten) {
    std::ifstream header(BRAIRU_NPU_HEADER);
    const std::string text{std::istreambuf_iterator<char>(header), {}};
    const std::regex declaration("\n(?:vx_|Net|void|uint32_t)[A-Za-z_0-9 ]*[ *]([A-Za-z]+)\\(");
    std::set<std::string> declared;
    for (std::sregex_iterator match(text.begin(), text.end(), declaration), end; match != end;
         ++match) {
        declared.insert((*match)[1]);
    }
    std::set<std::string> listed;
    for (const NpuOperation& operation : kOperations) {
        listed.insert(operation.name);
    }
    EXPECT_EQ(declared, listed);
}

// Output tensors of several runs.
TEST_F(NpuFaults, EachOutputTensorIsReleasedOnce) {
    const ChildResult life = inChild([&] { live(); });
    EXPECT_THAT(life.out, HasSubstr("handles 0, double releases 0\n"));
    const std::regex release("call vxReleaseTensor\n");
    const auto releases = std::distance(
        std::sregex_iterator(life.out.begin(), life.out.end(), release), std::sregex_iterator());
    EXPECT_EQ(releases, 4 * 2 + 3);  // two outputs a run, and the input of each network
}

}  // namespace
}  // namespace brairu::test
