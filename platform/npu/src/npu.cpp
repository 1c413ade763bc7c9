#include "npu.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "frameView.h"
#include "handles.h"
#include "onnx/refusal.h"

namespace {

using namespace brairu::npu;

constexpr std::string_view kKernels = "openvx-nn";

Handles& handles() {
    return Handles::all();
}

/// A status says that an operation failed but not why; the reason's first line goes to standard
/// error. Memory may be what ran out, so none is taken.
void report(const char* kind, const char* reason) {
    const auto length = static_cast<int>(std::strcspn(reason, "\n"));
    (void)std::fprintf(stderr, "brairu_npu: %s%.*s\n", kind, length, reason);
}

/// Runs one operation at the C boundary: what it throws is a failure.
template <class Body>
vx_status statusOf(const Body& body) noexcept {
    try {
        return body() ? VX_SUCCESS : VX_FAILURE;
    } catch (const Refusal& refusal) {
        report("model refused: ", refusal.what());
    } catch (const std::exception& error) {
        report("operation failed: ", error.what());
    } catch (...) {
        report("operation failed", "");
    }
    return VX_FAILURE;
}

template <class Handle, class Body>
Handle handleOf(const Body& body) noexcept {
    try {
        return body();
    } catch (...) {
        return Handle{};
    }
}

bool isLive(vx_context context) {
    return handles().contexts.find(context) != nullptr;
}

/// The object behind a handle that was made in a live context, null for any other.
template <class Table, class Handle>
auto findIn(vx_context context, const Table& table, Handle handle) {
    const bool belongs = isLive(context) && table.ownerOf(handle) == context;
    return belongs ? table.find(handle) : nullptr;
}

template <class Table, class Handle>
vx_status release(Table& table, Handle* handle) {
    return statusOf([&] {
        if (handle == nullptr || !table.remove(*handle))
            return false;
        *handle = nullptr;
        return true;
    });
}

template <class Table>
auto allocateIn(Table& table, vx_context context, std::uint32_t bytes)
    -> decltype(table.add(nullptr, context)) {
    if (!isLive(context))
        return nullptr;
    std::shared_ptr<DeviceMemory> memory = AddressSpace::instance().allocate(bytes);
    return memory == nullptr ? nullptr : table.add(std::move(memory), context);
}

/// dims as the header passes them: a pointer to three numbers, or null.
using ThreeDims = std::uint32_t[3];
const ThreeDims& three(const std::uint32_t* dims) {
    return *reinterpret_cast<const ThreeDims*>(dims);
}

bool isByteTensor(const std::uint32_t* dims, std::uint32_t bytesPerElement) {
    return dims != nullptr && bytesPerElement == 1 && tensorBytes(three(dims)) != 0;
}

template <class Value>
bool answer(const Value& result, void* value, std::size_t bytes) {
    if (bytes != sizeof result)
        return false;
    std::memcpy(value, &result, sizeof result);
    return true;
}

bool answerAddress(Tensor& tensor, void* value, std::size_t bytes) {
    const std::uint8_t* address = tensor.data().get();
    return address != nullptr && answer(address, value, bytes);
}

bool query(Tensor& tensor, std::int32_t attribute, void* value, std::size_t bytes) {
    switch (attribute) {
        case VX_TENSOR_DIMS: return answer(tensor.dims(), value, bytes);
        case VX_TENSOR_DATA_BYTES: return answer(tensor.bytes(), value, bytes);
        case VX_TENSOR_DATA_ADDRESS: return answerAddress(tensor, value, bytes);
        default: return false;
    }
}

bool convert(const FrameView& frame, Tensor& tensor) {
    const std::shared_ptr<std::uint8_t> data = tensor.data();
    const auto [width, height, channels, batch] = tensor.dims();
    if (data == nullptr || (channels != 1 && channels != 3))
        return false;
    cv::Mat planes(static_cast<int>(height * channels), static_cast<int>(width), CV_8UC1,
                   data.get());
    convertFrame(frame.planes, static_cast<int>(channels), planes);
    return true;
}

void listOutputs(Graph& graph, vx_context context, NetOutputBlobList& outputs,
                 NetTensorList& tensors) {
    graph.outputTensors.clear();
    for (std::shared_ptr<Tensor>& result : graph.results()) {
        graph.outputTensors.push_back(handles().tensors.add(std::move(result), context));
    }
    outputs = {graph.outputRecords.data(), static_cast<std::uint32_t>(graph.outputRecords.size())};
    tensors = {graph.outputTensors.data(), static_cast<std::uint32_t>(graph.outputTensors.size())};
}

}  // namespace

// NOLINTNEXTLINE(readability-non-const-parameter): the stack's own declaration
vx_status LoadNetModelFromMem(const void* buffer, uint32_t bytes, uint32_t* flag, NetModel* model) {
    if (model == nullptr)
        return VX_FAILURE;
    *model = nullptr;
    return statusOf([&] {
        if (buffer == nullptr || bytes == 0 || flag == nullptr || *flag != 1)
            return false;
        *model = handles().models.add(std::make_shared<LoadedModel>(buffer, bytes), nullptr);
        return true;
    });
}

vx_status UnLoadNetModel(NetModel model) {
    return statusOf([&] { return handles().models.remove(model); });
}

vx_status GetNetInputBlobs(NetModel netModel, NetInputBlobList* inputs) {
    if (inputs == nullptr)
        return VX_FAILURE;
    *inputs = {nullptr, 0};
    return statusOf([&] {
        const std::shared_ptr<LoadedModel> model = handles().models.find(netModel);
        if (model == nullptr)
            return false;
        InputRecords& records = *model->inputRecords();
        *inputs = {records.data(), static_cast<std::uint32_t>(records.size())};
        return true;
    });
}

vx_context vxCreateContext(void) {
    return handleOf<vx_context>(
        [] { return handles().contexts.add(std::make_shared<Context>(), nullptr); });
}

vx_status vxGetStatus(vx_context context) {
    return statusOf([&] { return isLive(context); });
}

vx_status vxLoadKernels(vx_context context, const char* name) {
    return statusOf([&] { return isLive(context) && name != nullptr && name == kKernels; });
}

vx_status vxFinish(vx_context context) {
    return statusOf([&] { return isLive(context); });
}

vx_status vxReleaseContext(vx_context* context) {
    const vx_context released = context == nullptr ? nullptr : *context;
    const vx_status status = release(handles().contexts, context);
    if (status == VX_SUCCESS)
        handles().releaseOwnedBy(released);
    return status;
}

vx_device_memory vxAllocateDeviceMemory(vx_context context, uint32_t bytes) {
    return handleOf<vx_device_memory>(
        [&] { return allocateIn(handles().memories, context, bytes); });
}

uint32_t vxGetDeviceMemoryPhysicalAddress(vx_device_memory memory) {
    const std::shared_ptr<DeviceMemory> found = handles().memories.find(memory);
    return found == nullptr ? 0 : found->physical();
}

void* vxGetDeviceMemoryVirtualAddress(vx_device_memory memory) {
    const std::shared_ptr<DeviceMemory> found = handles().memories.find(memory);
    return found == nullptr ? nullptr : found->data();
}

vx_status vxFlushDeviceMemoryCache(vx_context context, void* address, uint32_t bytes) {
    return statusOf(
        [&] { return isLive(context) && AddressSpace::instance().holds(address, bytes); });
}

vx_status vxFreeDeviceMemory(vx_context context, void* memory) {
    return statusOf([&] {
        auto* const device = static_cast<vx_device_memory>(memory);
        auto* const tensor = static_cast<NetTensorMemory>(memory);
        if (findIn(context, handles().memories, device))
            return handles().memories.remove(device);
        return findIn(context, handles().tensorMemories, tensor) != nullptr &&
               handles().tensorMemories.remove(tensor);
    });
}

NetTensorMemory AllocateTensorDeviceMemory(vx_context context, const uint32_t dims[3],
                                           uint32_t bytesPerElement) {
    return handleOf<NetTensorMemory>([&]() -> NetTensorMemory {
        if (!isByteTensor(dims, bytesPerElement))
            return nullptr;
        return allocateIn(handles().tensorMemories, context, tensorBytes(three(dims)));
    });
}

vx_tensor CreateTensorFromHandle(vx_context context, const uint32_t dims[3],
                                 uint32_t bytesPerElement, NetTensorMemory memory) {
    return handleOf<vx_tensor>([&]() -> vx_tensor {
        const auto found = findIn(context, handles().tensorMemories, memory);
        if (found == nullptr || !isByteTensor(dims, bytesPerElement))
            return nullptr;
        if (found->size() < tensorBytes(three(dims)))
            return nullptr;
        return handles().tensors.add(std::make_shared<Tensor>(three(dims), found), context);
    });
}

vx_status vxQueryTensor(vx_tensor tensor, int32_t attribute, void* value, size_t bytes) {
    return statusOf([&] {
        const std::shared_ptr<Tensor> found = handles().tensors.find(tensor);
        return found != nullptr && value != nullptr && query(*found, attribute, value, bytes);
    });
}

vx_status vxReleaseTensor(vx_tensor* tensor) {
    return release(handles().tensors, tensor);
}

vx_graph CreateNetGraph(vx_context context, NetModel netModel, NetModel blobsModel,
                        int32_t /*maxLayers*/, int32_t /*device*/) {
    return handleOf<vx_graph>([&]() -> vx_graph {
        std::shared_ptr<LoadedModel> net = handles().models.find(netModel);
        std::shared_ptr<LoadedModel> blobs = handles().models.find(blobsModel);
        if (!isLive(context) || net == nullptr || blobs == nullptr)
            return nullptr;
        return handles().graphs.add(std::make_shared<Graph>(std::move(net), std::move(blobs)),
                                    context);
    });
}

vx_status vxVerifyGraph(vx_graph graph) {
    return statusOf([&] {
        const std::shared_ptr<Graph> found = handles().graphs.find(graph);
        return found != nullptr && found->verify();
    });
}

vx_status vxReleaseGraph(vx_graph* graph) {
    return release(handles().graphs, graph);
}

vx_status ImageConvertDeviceProcess(vx_context context, const NpuImageDescriptor* image,
                                    vx_tensor output, int32_t strideUV) {
    return statusOf([&] {
        const std::shared_ptr<Tensor> tensor = findIn(context, handles().tensors, output);
        if (tensor == nullptr || image == nullptr || image->strideUV != strideUV)
            return false;
        const std::optional<FrameView> frame = findFrame(*image);
        return frame.has_value() && convert(*frame, *tensor);
    });
}

vx_status SetNetInputBlobsTensor(vx_graph graph, const NetInputBlobList* inputs, vx_tensor tensor,
                                 NetInputBlob* input) {
    return statusOf([&] {
        const std::shared_ptr<Graph> found = handles().graphs.find(graph);
        if (found == nullptr || inputs == nullptr || input == nullptr)
            return false;
        const vx_context context = handles().graphs.ownerOf(graph);
        const std::shared_ptr<Tensor> bound = findIn(context, handles().tensors, tensor);
        return bound != nullptr && input->tensor == tensor && found->bind(nameOf(*input), bound);
    });
}

vx_status vxProcessGraph(vx_graph graph) {
    return statusOf([&] {
        const std::shared_ptr<Graph> found = handles().graphs.find(graph);
        return found != nullptr && found->run();
    });
}

vx_status GetNetOutputBlobsTensor(vx_graph graph, NetOutputBlobList* outputs,
                                  NetTensorList* tensors) {
    if (outputs == nullptr || tensors == nullptr)
        return VX_FAILURE;
    *outputs = {nullptr, 0};
    *tensors = {nullptr, 0};
    return statusOf([&] {
        const std::shared_ptr<Graph> found = handles().graphs.find(graph);
        if (found == nullptr || !found->hasResults())
            return false;
        listOutputs(*found, handles().graphs.ownerOf(graph), *outputs, *tensors);
        return true;
    });
}
