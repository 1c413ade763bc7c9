// A network description and weights of any bytes, under a seal that fits: read, checked and, when
// accepted and small, run once.
//
// Input: two bytes of the length of the weights, the weights, the description without its digests.
#include <vector>

#include "byteSource.h"
#include "claim.h"
#include "npu.h"
#include "onnx/graphCheck.h"
#include "onnx/modelReader.h"
#include "onnx/refusal.h"
#include "onnx/seal.h"
#include "onnx/weights.h"
#include "onnx/wire.h"

namespace {

using namespace brairu::npu;
using brairu::fuzz::claim;

// Larger networks are within the limits of the stack and only take long.
constexpr std::int64_t kMostWork = std::int64_t{1} << 24;
constexpr std::int64_t kMostElements = std::int64_t{1} << 20;
constexpr std::uint32_t kSide = 32;
constexpr std::uint32_t kFrameBytes = kSide * kSide * 3 / 2;

std::string entry(std::string_view key, std::string_view value) {
    WireWriter writer;
    writer.bytes(1, key);
    writer.bytes(2, value);
    return writer.take();
}

std::string withDigests(std::string description, std::string_view blobs) {
    WireWriter writer;
    writer.bytes(14, entry("blobs_sha256", sha256Hex(blobs)));
    const std::string placeholder(64, '0');
    writer.bytes(14, entry("net_sha256", placeholder));
    description += writer.message();
    description.resize(description.size() - placeholder.size());
    return description + sha256Hex(description);
}

bool isSmall(std::string_view net, std::string_view blobs) {
    try {
        Model model = readModel(net);
        attachWeights(model, blobs);
        const GraphCost cost = checkGraph(model);
        return cost.work <= kMostWork && cost.elements <= kMostElements;
    } catch (const Refusal&) {
        return true;
    }
}

NetModel load(const std::string& bytes) {
    std::uint32_t flag = 1;
    NetModel model = nullptr;
    LoadNetModelFromMem(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &flag, &model);
    return model;
}

// One camera frame for all runs: addresses of device memory are never given out twice.
struct Camera {
    Camera() : context(vxCreateContext()), memory(vxAllocateDeviceMemory(context, kFrameBytes)) {
        const std::uint32_t physical = vxGetDeviceMemoryPhysicalAddress(memory);
        frame = {kSide,
                 kSide,
                 kSide,
                 kSide,
                 NPU_FORMAT_YUV420_TWO_PLANE,
                 physical,
                 physical + kSide * kSide,
                 0,
                 0,
                 kSide,
                 kSide};
    }

    vx_context context;
    vx_device_memory memory;
    NpuImageDescriptor frame;
};

void readOutputs(vx_graph graph) {
    NetOutputBlobList names{};
    NetTensorList tensors{};
    claim(GetNetOutputBlobsTensor(graph, &names, &tensors) == VX_SUCCESS, "a run has outputs");
    claim(names.count == tensors.count && names.count > 0, "every output has a name");
    for (std::uint32_t i = 0; i < tensors.count; ++i) {
        std::uint32_t bytes = 0;
        const std::uint8_t* address = nullptr;
        vxQueryTensor(tensors.tensors[i], VX_TENSOR_DATA_BYTES, &bytes, sizeof bytes);
        vxQueryTensor(tensors.tensors[i], VX_TENSOR_DATA_ADDRESS, &address, sizeof address);
        // Touches every byte.
        const std::vector<std::uint8_t> copy(address, address + bytes);
        claim(vxReleaseTensor(&tensors.tensors[i]) == VX_SUCCESS, "an output is released once");
    }
}

void bindFrame(const Camera& camera, vx_graph graph, const NetInputBlobList& inputs,
               NetInputBlob& input, std::vector<NetTensorMemory>& memories) {
    memories.push_back(AllocateTensorDeviceMemory(camera.context, input.dims, 1));
    input.tensor = CreateTensorFromHandle(camera.context, input.dims, 1, memories.back());
    ImageConvertDeviceProcess(camera.context, &camera.frame, input.tensor, kSide);
    SetNetInputBlobsTensor(graph, &inputs, input.tensor, &input);
}

void run(const Camera& camera, vx_graph graph, NetInputBlobList inputs) {
    std::vector<NetTensorMemory> memories;
    for (std::uint32_t i = 0; i < inputs.count; ++i) {
        bindFrame(camera, graph, inputs, inputs.records[i], memories);
    }
    if (vxProcessGraph(graph) == VX_SUCCESS) {
        readOutputs(graph);
    }
    for (std::uint32_t i = 0; i < inputs.count; ++i) {
        vxReleaseTensor(&inputs.records[i].tensor);
        vxFreeDeviceMemory(camera.context, memories[i]);
    }
}

void buildAndRun(const Camera& camera, const std::string& net, const std::string& blobs) {
    const NetModel netModel = load(net);
    const NetModel blobsModel = load(blobs);
    NetInputBlobList inputs{};
    const bool readable = GetNetInputBlobs(netModel, &inputs) == VX_SUCCESS;
    claim(readable || inputs.count == 0, "an unreadable description has no inputs");
    vx_graph graph = CreateNetGraph(camera.context, netModel, blobsModel, 0x7fffffff, -1);
    if (vxVerifyGraph(graph) == VX_SUCCESS) {
        claim(readable, "only a readable description makes a graph");
        run(camera, graph, inputs);
    }
    UnLoadNetModel(netModel);
    UnLoadNetModel(blobsModel);
    vxReleaseGraph(&graph);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Camera camera;
    brairu::fuzz::ByteSource source(data, size);
    const std::string blobs = brairu::fuzz::textOf(source.take(source.number<std::uint16_t>()));
    const std::string net = withDigests(brairu::fuzz::textOf(source.takeRest()), blobs);
    if (isSmall(net, blobs)) {
        buildAndRun(camera, net, blobs);
    }
    return 0;
}
