#include "npu/netRuntime.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace brairu {
namespace {

constexpr char kKernels[] = "openvx-nn";
constexpr int kEveryLayer = 0x7fffffff;
constexpr int kAnyDevice = -1;
constexpr std::uint32_t kBytesPerElement = 1;
constexpr int kExitFault = 1;
constexpr int kExitUnprepared = -1;

[[noreturn]] void endUnprepared(const char* message) {
    std::puts(message);
    std::exit(kExitUnprepared);  // NOLINT(concurrency-mt-unsafe): the host's contract
}

// Bytes of a 4:2:0 frame; 0 for a size that no frame memory can have.
std::uint32_t bytesOf(FrameSize frame) {
    if (frame.width <= 0 || frame.height <= 0) {
        return 0;
    }
    const std::int64_t luma = static_cast<std::int64_t>(frame.width) * frame.height;
    const std::int64_t bytes = luma + luma / 2;
    return bytes <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::uint32_t>(bytes)
                                                             : 0;
}

}  // namespace

void NpuFaults::report(vx_status status, int line) const {
    if (status != VX_SUCCESS) {
        std::printf("ERROR: failed with status = (%d) at %s#%d\n", status, sourceFile_, line);
    }
}

void NpuFaults::require(vx_status status, int line) const {
    if (status != VX_SUCCESS) {
        report(status, line);
        std::exit(kExitFault);  // NOLINT(concurrency-mt-unsafe): the host's contract
    }
}

NetOutputs::NetOutputs(const NpuFaults& faults, vx_graph graph) : faults_(faults) {
    faults_.require(GetNetOutputBlobsTensor(graph, &names_, &tensors_));
    faults_.require(tensors_.count > 0 ? VX_SUCCESS : VX_FAILURE);
    queryLastTensor();
}

void NetOutputs::queryLastTensor() {
    const vx_tensor last = tensors_.tensors[tensors_.count - 1];
    std::uint32_t bytes = 0;
    void* address = nullptr;
    faults_.require(vxQueryTensor(last, VX_TENSOR_DIMS, dims_.data(), sizeof dims_));
    faults_.require(vxQueryTensor(last, VX_TENSOR_DATA_BYTES, &bytes, sizeof bytes));
    faults_.require(vxQueryTensor(last, VX_TENSOR_DATA_ADDRESS, &address, sizeof address));
    faults_.require(address != nullptr || bytes == 0 ? VX_SUCCESS : VX_FAILURE);
    data_ = {static_cast<const std::uint8_t*>(address), bytes};
}

NetOutputs::~NetOutputs() {
    for (std::uint32_t i = 0; i < tensors_.count; ++i) {
        faults_.require(vxReleaseTensor(&tensors_.tensors[i]));
    }
}

std::string_view NetOutputs::firstName() const {
    if (names_.count == 0) {
        return {};
    }
    const char* name = names_.records[0].name;
    return {name, ::strnlen(name, NET_BLOB_NAME_BYTES)};
}

void NetRuntime::ModelRelease::operator()(NetModel model) const {
    faults->report(UnLoadNetModel(model));
}

void NetRuntime::ContextRelease::operator()(vx_context context) const {
    faults->report(vxReleaseContext(&context));
}

void NetRuntime::GraphRelease::operator()(vx_graph graph) const {
    faults->report(vxReleaseGraph(&graph));
}

void NetRuntime::MemoryRelease::operator()(void* memory) const {
    faults->report(vxFreeDeviceMemory(context, memory));
}

void NetRuntime::TensorRelease::operator()(vx_tensor tensor) const {
    faults->report(vxReleaseTensor(&tensor));
}

void NetRuntime::loadModels(ModelPair models) {
    netModel_ = loadModel(models.net);
    blobsModel_ = loadModel(models.blobs);
}

NetRuntime::Model NetRuntime::loadModel(const ModelBuffer& buffer) const {
    std::uint32_t flag = 1;
    NetModel model = nullptr;
    LoadNetModelFromMem(buffer.data.get(), buffer.size, &flag, &model);
    return {model, ModelRelease{&faults_}};
}

void NetRuntime::unload(Model& model) const {
    faults_.require(UnLoadNetModel(model.release()));
}

void NetRuntime::prepare(FrameSize frame) {
    frame_ = frame;
    createContext();
    takeInputRecord();
    createInputTensor();
    allocateFrame();
    createGraph();
}

void NetRuntime::createContext() {
    context_ = {vxCreateContext(), ContextRelease{&faults_}};
    faults_.require(vxGetStatus(context_.get()));
    faults_.require(vxLoadKernels(context_.get(), kKernels));
}

void NetRuntime::takeInputRecord() {
    NetInputBlobList inputs{};
    GetNetInputBlobs(netModel_.get(), &inputs);
    if (inputs.count != 1) {
        endUnprepared("this face mode must be one input!");
    }
    input_ = inputs.records[0];
}

void NetRuntime::createInputTensor() {
    imageHandle_ = {AllocateTensorDeviceMemory(context_.get(), input_.dims, kBytesPerElement),
                    MemoryRelease{&faults_, context_.get()}};
    if (!imageHandle_) {
        endUnprepared("alloc image handle error!");
    }
    imageTensor_ = {
        CreateTensorFromHandle(context_.get(), input_.dims, kBytesPerElement, imageHandle_.get()),
        TensorRelease{&faults_}};
    if (!imageTensor_) {
        endUnprepared("create image tensor error!");
    }
    input_.tensor = imageTensor_.get();
}

void NetRuntime::allocateFrame() {
    frameBytes_ = bytesOf(frame_);
    frameMemory_ = {frameBytes_ > 0 ? vxAllocateDeviceMemory(context_.get(), frameBytes_) : nullptr,
                    MemoryRelease{&faults_, context_.get()}};
    if (!frameMemory_) {
        endUnprepared("alloc memory error!");
    }
    framePhysical_ = vxGetDeviceMemoryPhysicalAddress(frameMemory_.get());
    frameVirtual_ = static_cast<std::uint8_t*>(vxGetDeviceMemoryVirtualAddress(frameMemory_.get()));
    if (frameVirtual_ == nullptr) {
        endUnprepared("alloc memory error!");
    }
}

void NetRuntime::createGraph() {
    graph_ = {
        CreateNetGraph(context_.get(), netModel_.get(), blobsModel_.get(), kEveryLayer, kAnyDevice),
        GraphRelease{&faults_}};
    faults_.require(vxVerifyGraph(graph_.get()));
    unload(netModel_);
    unload(blobsModel_);
}

NpuImageDescriptor NetRuntime::imageDescriptor() const {
    NpuImageDescriptor image{};
    image.width = frame_.width;
    image.height = frame_.height;
    image.strideY = frame_.width;
    image.strideUV = frame_.width;
    image.format = NPU_FORMAT_YUV420_TWO_PLANE;
    image.physicalY = framePhysical_;
    image.physicalUV = framePhysical_ + static_cast<std::uint32_t>(frame_.width) *
                                            static_cast<std::uint32_t>(frame_.height);
    image.outputWidth = frame_.width;
    image.outputHeight = frame_.height;
    return image;
}

NetOutputs NetRuntime::run(std::span<const std::uint8_t> frame) {
    const std::size_t bytes = std::min<std::size_t>(frame.size(), frameBytes_);
    std::copy_n(frame.data(), bytes, frameVirtual_);
    faults_.require(
        vxFlushDeviceMemoryCache(context_.get(), frameVirtual_, static_cast<std::uint32_t>(bytes)));
    const NpuImageDescriptor image = imageDescriptor();
    faults_.require(
        ImageConvertDeviceProcess(context_.get(), &image, imageTensor_.get(), image.strideUV));
    input_.tensor = imageTensor_.get();
    const NetInputBlobList inputs{&input_, 1};
    faults_.require(SetNetInputBlobsTensor(graph_.get(), &inputs, imageTensor_.get(), &input_));
    faults_.require(vxProcessGraph(graph_.get()));
    faults_.require(vxFinish(context_.get()));
    return NetOutputs(faults_, graph_.get());
}

void NetRuntime::teardown() {
    imageHandle_.reset();
    imageTensor_.reset();
    frameMemory_.reset();
    graph_.reset();
    context_.reset();
}

}  // namespace brairu
