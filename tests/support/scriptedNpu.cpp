#include "support/scriptedNpu.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>

using brairu::test::ScriptedNetwork;
using brairu::test::ScriptedNpu;
using brairu::test::ScriptedTensor;

struct NpuContext {};
struct NpuNetModel {
    std::size_t index = 0;
    NetInputBlob inputs[4]{};
};
struct NpuDeviceMemory {
    std::vector<std::uint8_t> bytes;
};
struct NpuTensorMemory {};
struct NpuTensor {
    const ScriptedTensor* output = nullptr;
};
struct NpuGraph {
    std::size_t network = 0;
    std::vector<NetOutputBlob> names;
    std::vector<vx_tensor> tensors;
};

namespace brairu::test {
namespace {

constexpr std::uint32_t kPhysicalBase = 0x40000000;

// Handles that were given out; kept for good, so that a late release is counted and not a crash.
std::map<const void*, std::string>& liveHandles() {
    static auto& handles = *new std::map<const void*, std::string>;
    return handles;
}

template <class Handle>
Handle* give(const std::string& kind) {
    auto* handle = new Handle;
    liveHandles()[handle] = kind;
    ++ScriptedNpu::get().live[kind];
    return handle;
}

bool takeBack(const void* handle) {
    const auto found = liveHandles().find(handle);
    if (found == liveHandles().end()) {
        ++ScriptedNpu::get().doubleReleases;
        return false;
    }
    --ScriptedNpu::get().live[found->second];
    ScriptedNpu::get().released.push_back(found->second);
    liveHandles().erase(found);
    return true;
}

vx_status statusOf(const std::string& operation) {
    ScriptedNpu& npu = ScriptedNpu::get();
    return npu.fails(operation) ? npu.failureStatus : VX_SUCCESS;
}

template <class Handle>
vx_status release(const std::string& operation, Handle* handle) {
    const vx_status status = statusOf(operation);
    if (status == VX_SUCCESS && takeBack(*handle)) {
        delete *handle;
        *handle = nullptr;
    }
    return status;
}

void copyName(const std::string& name, NetOutputBlob& blob) {
    std::strncpy(blob.name, name.c_str(), sizeof blob.name - 1);
}

}  // namespace

ScriptedNpu& ScriptedNpu::get() {
    static auto& npu = *new ScriptedNpu;
    return npu;
}

bool ScriptedNpu::fails(const std::string& operation) {
    calls.push_back(operation);
    const auto failure = failures_.find(operation);
    return failure != failures_.end() && failure->second == callsOf(operation);
}

int ScriptedNpu::callsOf(const std::string& operation) const {
    return static_cast<int>(std::ranges::count(calls, operation));
}

int ScriptedNpu::liveHandles() const {
    int handles = 0;
    for (const auto& [kind, count] : live) {
        handles += count;
    }
    return handles;
}

const std::vector<ScriptedTensor>& ScriptedNetwork::takeOutputs() {
    const std::size_t run = runs++;
    return run < outputsOfRun.size() ? outputsOfRun[run] : outputs;
}

}  // namespace brairu::test

using namespace brairu::test;

vx_status LoadNetModelFromMem(const void* buffer, std::uint32_t bytes, std::uint32_t* flag,
                              NetModel* model) {
    const vx_status status = statusOf(__func__);
    *model = nullptr;
    std::vector<std::vector<std::uint8_t>>& models = ScriptedNpu::get().models;
    const auto* first = static_cast<const std::uint8_t*>(buffer);
    models.emplace_back(first, first + bytes);
    if (*flag != 1 || bytes == 0) {
        return VX_FAILURE;
    }
    if (status == VX_SUCCESS) {
        *model = give<NpuNetModel>("model");
        (*model)->index = models.size() - 1;
    }
    return status;
}

vx_status UnLoadNetModel(NetModel model) {
    if (liveHandles().contains(model)) {
        ScriptedNpu::get().unloaded.push_back(model->index);
    }
    return release(__func__, &model);
}

vx_status GetNetInputBlobs(NetModel netModel, NetInputBlobList* inputs) {
    const ScriptedNpu& npu = ScriptedNpu::get();
    const vx_status status = statusOf(__func__);
    if (status != VX_SUCCESS || netModel == nullptr) {
        *inputs = {nullptr, 0};
        return VX_FAILURE;
    }
    for (NetInputBlob& input : netModel->inputs) {
        std::ranges::copy(npu.inputDims, input.dims);
    }
    *inputs = {netModel->inputs, npu.inputCount};
    return VX_SUCCESS;
}

vx_context vxCreateContext(void) {
    return statusOf(__func__) == VX_SUCCESS ? give<NpuContext>("context") : nullptr;
}

vx_status vxGetStatus(vx_context context) {
    const vx_status status = statusOf(__func__);
    return context == nullptr ? VX_FAILURE : status;
}

vx_status vxLoadKernels(vx_context, const char* name) {
    const vx_status status = statusOf(__func__);
    return std::string(name) == "openvx-nn" ? status : VX_FAILURE;
}

vx_status vxFinish(vx_context) {
    return statusOf(__func__);
}

vx_status vxReleaseContext(vx_context* context) {
    return release(__func__, context);
}

vx_device_memory vxAllocateDeviceMemory(vx_context, std::uint32_t bytes) {
    ScriptedNpu::get().allocatedBytes.push_back(bytes);
    if (statusOf(__func__) != VX_SUCCESS) {
        return nullptr;
    }
    auto* memory = give<NpuDeviceMemory>("device memory");
    memory->bytes.resize(bytes);
    return memory;
}

std::uint32_t vxGetDeviceMemoryPhysicalAddress(vx_device_memory) {
    return statusOf(__func__) == VX_SUCCESS ? kPhysicalBase : 0;
}

void* vxGetDeviceMemoryVirtualAddress(vx_device_memory memory) {
    return statusOf(__func__) == VX_SUCCESS && memory != nullptr ? memory->bytes.data() : nullptr;
}

vx_status vxFlushDeviceMemoryCache(vx_context, void* address, std::uint32_t bytes) {
    const auto* first = static_cast<const std::uint8_t*>(address);
    ScriptedNpu::get().flushedBytes.push_back(bytes);
    ScriptedNpu::get().frames.emplace_back(first, first + bytes);
    return statusOf(__func__);
}

vx_status vxFreeDeviceMemory(vx_context, void* memory) {
    const auto found = liveHandles().find(memory);
    if (found != liveHandles().end() && found->second == "tensor memory") {
        auto* tensorMemory = static_cast<NpuTensorMemory*>(memory);
        return release(__func__, &tensorMemory);
    }
    auto* deviceMemory = static_cast<NpuDeviceMemory*>(memory);
    return release(__func__, &deviceMemory);
}

NetTensorMemory AllocateTensorDeviceMemory(vx_context, const std::uint32_t*, std::uint32_t) {
    return statusOf(__func__) == VX_SUCCESS ? give<NpuTensorMemory>("tensor memory") : nullptr;
}

vx_tensor CreateTensorFromHandle(vx_context, const std::uint32_t*, std::uint32_t, NetTensorMemory) {
    return statusOf(__func__) == VX_SUCCESS ? give<NpuTensor>("tensor") : nullptr;
}

vx_status vxQueryTensor(vx_tensor tensor, std::int32_t attribute, void* value, std::size_t bytes) {
    ScriptedNpu::get().attributes.push_back(attribute);
    const vx_status status = statusOf(__func__);
    if (status != VX_SUCCESS) {
        return status;
    }
    const ScriptedTensor& output = *tensor->output;
    const auto answer = [&](const void* data, std::size_t size) {
        if (bytes != size) {
            return vx_status{VX_FAILURE};
        }
        std::memcpy(value, data, size);
        return vx_status{VX_SUCCESS};
    };
    const auto size = static_cast<std::uint32_t>(output.data.size());
    const void* address = output.data.data();
    switch (attribute) {
        case VX_TENSOR_DIMS: return answer(output.dims.data(), sizeof output.dims);
        case VX_TENSOR_DATA_BYTES: return answer(&size, sizeof size);
        case VX_TENSOR_DATA_ADDRESS: return answer(&address, sizeof address);
        default: return VX_FAILURE;
    }
}

vx_status vxReleaseTensor(vx_tensor* tensor) {
    return release(__func__, tensor);
}

vx_graph CreateNetGraph(vx_context, NetModel netModel, NetModel blobsModel, std::int32_t maxLayers,
                        std::int32_t device) {
    const bool arguments =
        netModel != nullptr && blobsModel != nullptr && maxLayers == 0x7fffffff && device == -1;
    if (statusOf(__func__) != VX_SUCCESS || !arguments) {
        return nullptr;
    }
    auto* graph = give<NpuGraph>("graph");
    graph->network = ScriptedNpu::get().graphsCreated++;
    return graph;
}

vx_status vxVerifyGraph(vx_graph graph) {
    const vx_status status = statusOf(__func__);
    return graph == nullptr ? VX_FAILURE : status;
}

vx_status vxReleaseGraph(vx_graph* graph) {
    return release(__func__, graph);
}

vx_status ImageConvertDeviceProcess(vx_context, const NpuImageDescriptor* image, vx_tensor,
                                    std::int32_t strideUV) {
    ScriptedNpu::get().converted.push_back(*image);
    ScriptedNpu::get().stridesUV.push_back(strideUV);
    return statusOf(__func__);
}

vx_status SetNetInputBlobsTensor(vx_graph, const NetInputBlobList* inputs, vx_tensor tensor,
                                 NetInputBlob* input) {
    const vx_status status = statusOf(__func__);
    const bool bound = inputs->count == 1 && inputs->records == input && input->tensor == tensor;
    return bound ? status : VX_FAILURE;
}

vx_status vxProcessGraph(vx_graph graph) {
    ScriptedNpu::get().processed.push_back(graph->network);
    return statusOf(__func__);
}

vx_status GetNetOutputBlobsTensor(vx_graph graph, NetOutputBlobList* outputs,
                                  NetTensorList* tensors) {
    ScriptedNetwork& network = ScriptedNpu::get().networks.at(graph->network);
    const vx_status status = statusOf(__func__);
    graph->names.assign(network.outputNames.size(), NetOutputBlob{});
    for (std::size_t i = 0; i < network.outputNames.size(); ++i) {
        copyName(network.outputNames[i], graph->names[i]);
    }
    graph->tensors.clear();
    for (const ScriptedTensor& output : network.takeOutputs()) {
        graph->tensors.push_back(give<NpuTensor>("tensor"));
        graph->tensors.back()->output = &output;
    }
    *outputs = {graph->names.data(), static_cast<std::uint32_t>(graph->names.size())};
    *tensors = {graph->tensors.data(), static_cast<std::uint32_t>(graph->tensors.size())};
    return status;
}
