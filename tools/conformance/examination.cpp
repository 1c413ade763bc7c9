#include "examination.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "networkTrial.h"
#include "npu.h"
#include "platformLog.h"

namespace brairu::conformance {
namespace {

constexpr int kEveryLayer = 0x7fffffff;
constexpr int kAnyDevice = -1;
constexpr char kKernels[] = "openvx-nn";
constexpr std::uint32_t kDims[3] = {8, 8, 1};

std::string statusText(vx_status status) {
    return "status " + std::to_string(status);
}

void examineLog(Journal& journal) {
    journal.calls("__android_log_print");
    const int written =
        __android_log_print(ANDROID_LOG_ERROR, "pva", "conformance: %s, %d\n", "a line", 1);
    journal.expects("__android_log_print", written >= 0, "no negative result",
                    std::to_string(written));
}

vx_context openContext(const std::string& wanted, Journal& journal) {
    journal.calls("vxCreateContext");
    const vx_context context = vxCreateContext();
    if (!journal.expects("vxCreateContext", context != nullptr, wanted, "null")) {
        return nullptr;
    }
    journal.calls("vxGetStatus");
    vx_status status = vxGetStatus(context);
    journal.expects("vxGetStatus", status == VX_SUCCESS, "status 0 for a live context",
                    statusText(status));
    journal.calls("vxLoadKernels");
    status = vxLoadKernels(context, kKernels);
    journal.expects("vxLoadKernels", status == VX_SUCCESS, "status 0 for openvx-nn",
                    statusText(status));
    return context;
}

void closeContext(Journal& journal, vx_context context) {
    journal.calls("vxReleaseContext");
    const vx_status status = vxReleaseContext(&context);
    journal.expects("vxReleaseContext", status == VX_SUCCESS && context == nullptr,
                    "status 0 and a handle of null",
                    statusText(status) + (context == nullptr ? "" : ", a handle"));
}

// Bytes with a sign, as the library reads them.
double cosineOf(const Bytes& a, const Bytes& b) {
    double aa = 0.0;
    double bb = 0.0;
    double ab = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double x = static_cast<std::int8_t>(a[i]);
        const double y = static_cast<std::int8_t>(b[i]);
        aa += x * x;
        bb += y * y;
        ab += x * y;
    }
    return aa > 0.0 && bb > 0.0 ? ab / std::sqrt(aa * bb) : 0.0;
}

std::string decimals(double value) {
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%.5f", value);
    return text.data();
}

void compareWithAnswer(const Network& network, const Bytes& output, double leastCosine,
                       Journal& journal) {
    const bool comparable = output.size() == network.answer.size();
    const double cosine = comparable ? cosineOf(output, network.answer) : 0.0;
    journal.expects(
        "vxProcessGraph", cosine >= leastCosine,
        network.name + ": the known answer to the picture, at a cosine of " + decimals(leastCosine),
        comparable ? decimals(cosine) : "an output of another size");
}

// Each picture has its own answer, however often and in whatever order they are shown.
void runTrial(NetworkTrial& trial, const Network& network, const Questions& questions,
              Journal& journal) {
    const Bytes picture = pictureOf(questions.answers, network.input);
    const Bytes other(picture.rbegin(), picture.rend());
    const Bytes output = trial.run(picture);
    if (output.empty()) {
        return;
    }
    compareWithAnswer(network, output, questions.leastCosine, journal);
    journal.expects("vxProcessGraph", trial.run(other) != output,
                    network.name + ": another output for another picture", "the same");
    journal.expects("vxProcessGraph", trial.run(picture) == output,
                    network.name + ": the same output for the same picture", "another");
}

// A network in a context of its own.
struct Resident {
    const Network& network;
    vx_context context;
    NetworkTrial trial;
    bool prepared = false;
};

// As in the library, all are alive together.
std::vector<Resident> moveIn(const Questions& questions, Journal& journal) {
    std::vector<Resident> residents;
    for (const Network& network : questions.networks) {
        const vx_context context =
            openContext(residents.empty() ? "a context" : "a context beside another", journal);
        if (context == nullptr) {
            break;
        }
        residents.push_back({network, context, NetworkTrial(journal, context, network)});
        residents.back().prepared = residents.back().trial.prepare();
    }
    return residents;
}

struct PairOfStrangers {
    NetModel net = nullptr;
    NetModel blobs = nullptr;
};

PairOfStrangers loadStrangers(const Questions& questions, Journal& journal) {
    const ModelPair one = readModels(questions.networks.front());
    const ModelPair other = readModels(questions.networks.back());
    std::uint32_t flag = 1;
    PairOfStrangers pair;
    journal.calls("LoadNetModelFromMem");
    LoadNetModelFromMem(one.net.data.get(), one.net.size, &flag, &pair.net);
    LoadNetModelFromMem(other.blobs.data.get(), other.blobs.size, &flag, &pair.blobs);
    return pair;
}

void refuseStrangers(const Questions& questions, vx_context context, Journal& journal) {
    const PairOfStrangers pair = loadStrangers(questions, journal);
    journal.calls("CreateNetGraph");
    vx_graph graph = CreateNetGraph(context, pair.net, pair.blobs, kEveryLayer, kAnyDevice);
    journal.calls("vxVerifyGraph");
    const vx_status status = vxVerifyGraph(graph);
    journal.expects("vxVerifyGraph", status != VX_SUCCESS,
                    "a fault for the description of one network with the weights of another",
                    statusText(status));
    journal.calls("vxReleaseGraph");
    vxReleaseGraph(&graph);
    journal.calls("UnLoadNetModel");
    UnLoadNetModel(pair.net);
    UnLoadNetModel(pair.blobs);
}

void refuseUnreadableDescription(Journal& journal) {
    const std::string text = "this describes no network";
    std::uint32_t flag = 1;
    NetModel model = nullptr;
    NetInputBlobList inputs{nullptr, 1};
    journal.calls("LoadNetModelFromMem");
    LoadNetModelFromMem(text.data(), static_cast<std::uint32_t>(text.size()), &flag, &model);
    journal.calls("GetNetInputBlobs");
    const vx_status status = GetNetInputBlobs(model, &inputs);
    journal.expects("GetNetInputBlobs", status != VX_SUCCESS && inputs.count == 0,
                    "a fault and no input for what describes no network",
                    statusText(status) + ", " + std::to_string(inputs.count));
    journal.calls("UnLoadNetModel");
    UnLoadNetModel(model);
}

// The rest of an examination of one operation's refusal: whether it failed when it had to.
void refuses(Journal& journal, const char* operation, bool failed, const char* what) {
    journal.expects(operation, failed, std::string("a fault for ") + what, "none");
}

constexpr char kNull[] = "a handle of null";

void refuseNoBuffer(Journal& journal) {
    constexpr char kOperation[] = "LoadNetModelFromMem";
    journal.calls(kOperation);
    std::uint32_t flag = 1;
    NetModel model = nullptr;
    const bool noBuffer = LoadNetModelFromMem(nullptr, 8, &flag, &model) != VX_SUCCESS;
    refuses(journal, kOperation, noBuffer && model == nullptr, "no buffer");
    const bool noBytes = LoadNetModelFromMem("x", 0, &flag, &model) != VX_SUCCESS;
    refuses(journal, kOperation, noBytes && model == nullptr, "an empty buffer");
}

// An operation that takes a handle, and what shows that it failed for null.
struct NullCall {
    const char* operation;
    bool (*fails)();
};

const std::array kNullCalls{
    NullCall{"UnLoadNetModel", [] { return UnLoadNetModel(nullptr) != VX_SUCCESS; }},
    NullCall{"GetNetInputBlobs",
             [] {
                 NetInputBlobList inputs{nullptr, 1};
                 return GetNetInputBlobs(nullptr, &inputs) != VX_SUCCESS;
             }},
    NullCall{"vxGetStatus", [] { return vxGetStatus(nullptr) != VX_SUCCESS; }},
    NullCall{"vxLoadKernels", [] { return vxLoadKernels(nullptr, kKernels) != VX_SUCCESS; }},
    NullCall{"vxFinish", [] { return vxFinish(nullptr) != VX_SUCCESS; }},
    NullCall{"vxReleaseContext",
             [] {
                 vx_context context = nullptr;
                 return vxReleaseContext(&context) != VX_SUCCESS;
             }},
    NullCall{"vxAllocateDeviceMemory",
             [] { return vxAllocateDeviceMemory(nullptr, 64) == nullptr; }},
    NullCall{"vxGetDeviceMemoryPhysicalAddress",
             [] { return vxGetDeviceMemoryPhysicalAddress(nullptr) == 0; }},
    NullCall{"vxGetDeviceMemoryVirtualAddress",
             [] { return vxGetDeviceMemoryVirtualAddress(nullptr) == nullptr; }},
    NullCall{"vxFlushDeviceMemoryCache",
             [] {
                 std::array<std::uint8_t, 64> memory{};
                 return vxFlushDeviceMemoryCache(nullptr, memory.data(), 64) != VX_SUCCESS;
             }},
    NullCall{"vxFreeDeviceMemory",
             [] { return vxFreeDeviceMemory(nullptr, nullptr) != VX_SUCCESS; }},
    NullCall{"AllocateTensorDeviceMemory",
             [] { return AllocateTensorDeviceMemory(nullptr, kDims, 1) == nullptr; }},
    NullCall{"CreateTensorFromHandle",
             [] { return CreateTensorFromHandle(nullptr, kDims, 1, nullptr) == nullptr; }},
    NullCall{"vxQueryTensor",
             [] {
                 std::uint32_t bytes = 0;
                 return vxQueryTensor(nullptr, VX_TENSOR_DATA_BYTES, &bytes, sizeof bytes) !=
                        VX_SUCCESS;
             }},
    NullCall{"vxReleaseTensor",
             [] {
                 vx_tensor tensor = nullptr;
                 return vxReleaseTensor(&tensor) != VX_SUCCESS;
             }},
    NullCall{"CreateNetGraph",
             [] {
                 return CreateNetGraph(nullptr, nullptr, nullptr, kEveryLayer, kAnyDevice) ==
                        nullptr;
             }},
    NullCall{"vxVerifyGraph", [] { return vxVerifyGraph(nullptr) != VX_SUCCESS; }},
    NullCall{"vxReleaseGraph",
             [] {
                 vx_graph graph = nullptr;
                 return vxReleaseGraph(&graph) != VX_SUCCESS;
             }},
    NullCall{"ImageConvertDeviceProcess",
             [] {
                 const NpuImageDescriptor image{};
                 return ImageConvertDeviceProcess(nullptr, &image, nullptr, 0) != VX_SUCCESS;
             }},
    NullCall{"SetNetInputBlobsTensor",
             [] {
                 NetInputBlob input{};
                 const NetInputBlobList inputs{&input, 1};
                 return SetNetInputBlobsTensor(nullptr, &inputs, nullptr, &input) != VX_SUCCESS;
             }},
    NullCall{"vxProcessGraph", [] { return vxProcessGraph(nullptr) != VX_SUCCESS; }},
    NullCall{"GetNetOutputBlobsTensor",
             [] {
                 NetOutputBlobList names{};
                 NetTensorList tensors{};
                 return GetNetOutputBlobsTensor(nullptr, &names, &tensors) != VX_SUCCESS;
             }},
};

std::vector<std::function<void(Journal&)>> everyRefusal() {
    std::vector<std::function<void(Journal&)>> all{refuseNoBuffer, refuseUnreadableDescription};
    for (const NullCall& call : kNullCalls) {
        all.emplace_back([call](Journal& journal) {
            journal.calls(call.operation);
            refuses(journal, call.operation, call.fails(), kNull);
        });
    }
    return all;
}

}  // namespace

void examineLife(const Questions& questions, Journal& journal) {
    examineLog(journal);
    std::vector<Resident> residents = moveIn(questions, journal);
    for (Resident& resident : residents) {
        if (resident.prepared) {
            runTrial(resident.trial, resident.network, questions, journal);
        }
    }
    if (!residents.empty()) {
        refuseStrangers(questions, residents.front().context, journal);
    }
    for (Resident& resident : residents) {
        resident.trial.release();
        closeContext(journal, resident.context);
    }
}

std::span<const std::function<void(Journal&)>> refusals() {
    static const std::vector<std::function<void(Journal&)>> all = everyRefusal();
    return all;
}

std::vector<Bytes> answersOf(const Questions& questions) {
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    Journal journal(nowhere);
    std::vector<Bytes> answers;
    vx_context context = vxCreateContext();
    for (const Network& network : questions.networks) {
        NetworkTrial trial(journal, context, network);
        answers.push_back(trial.prepare() ? trial.run(pictureOf(questions.answers, network.input))
                                          : Bytes{});
        trial.release();
    }
    vxReleaseContext(&context);
    ::close(nowhere);
    return answers;
}

}  // namespace brairu::conformance
