#include "networkTrial.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace brairu::conformance {
namespace {

constexpr int kEveryLayer = 0x7fffffff;
constexpr int kAnyDevice = -1;
constexpr std::uint8_t kNoColour = 128;
constexpr std::uint8_t kOverwritten = 0xa5;
constexpr int kColourTolerance = 2;

std::string statusText(vx_status status) {
    return "status " + std::to_string(status);
}

std::string handleText(const void* handle) {
    return handle == nullptr ? "null" : "a handle";
}

std::size_t bytesOf(const std::uint32_t* dims) {
    return std::size_t{dims[0]} * dims[1] * dims[2];
}

std::string dimsText(const std::uint32_t* dims) {
    return std::to_string(dims[0]) + " x " + std::to_string(dims[1]) + " x " +
           std::to_string(dims[2]);
}

bool isTerminated(const char* name) {
    return std::memchr(name, 0, NET_BLOB_NAME_BYTES) != nullptr && name[0] != '\0';
}

// A grey pixel in red, green and blue: BT.601 with Y from 16 to 235.
int colourOf(int luma) {
    return std::clamp((298 * (luma - 16) + 128) / 256, 0, 255);
}

bool isNear(int a, int b) {
    return std::abs(a - b) <= kColourTolerance;
}

bool isPictureIn(std::span<const std::uint8_t> data, const Bytes& picture, std::uint32_t channels) {
    for (std::size_t at = 0; at < picture.size() * channels; ++at) {
        const int luma = picture[at % picture.size()];
        if (!isNear(data[at], channels == 1 ? luma : colourOf(luma))) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::uint8_t* dataOf(vx_tensor tensor) {
    void* address = nullptr;
    const vx_status status =
        vxQueryTensor(tensor, VX_TENSOR_DATA_ADDRESS, &address, sizeof address);
    return status == VX_SUCCESS ? static_cast<std::uint8_t*>(address) : nullptr;
}

bool NetworkTrial::prepare() {
    return loadModels() && takeInput() && makeTensor() && makeFrame() && makeGraph();
}

bool NetworkTrial::loadModels() {
    const ModelPair models = readModels(network_);
    net_ = load("description", models.net);
    blobs_ = load("weights", models.blobs);
    return net_ != nullptr && blobs_ != nullptr;
}

// The stack has to copy: what it was given is overwritten at once.
NetModel NetworkTrial::load(const std::string& file, const ModelBuffer& model) {
    constexpr char kOperation[] = "LoadNetModelFromMem";
    std::uint32_t flag = 1;
    NetModel handle = nullptr;
    journal_.calls(kOperation);
    const vx_status status = LoadNetModelFromMem(model.data.get(), model.size, &flag, &handle);
    std::memset(model.data.get(), kOverwritten, model.size);
    journal_.expects(kOperation, status == VX_SUCCESS, called("status 0 for the " + file),
                     statusText(status));
    journal_.expects(kOperation, handle != nullptr, called("a handle for the " + file),
                     handleText(handle));
    return handle;
}

bool NetworkTrial::takeInput() {
    constexpr char kOperation[] = "GetNetInputBlobs";
    NetInputBlobList inputs{};
    journal_.calls(kOperation);
    const vx_status status = GetNetInputBlobs(net_, &inputs);
    journal_.expects(kOperation, status == VX_SUCCESS, called("status 0"), statusText(status));
    if (!journal_.expects(kOperation, inputs.count == 1 && inputs.records != nullptr,
                          called("one input"), std::to_string(inputs.count))) {
        return false;
    }
    input_ = inputs.records[0];
    journal_.expects(kOperation, isTerminated(input_.name),
                     called("a name that ends in its field"));
    const bool fits = input_.dims[0] == static_cast<std::uint32_t>(network_.input.width) &&
                      input_.dims[1] == static_cast<std::uint32_t>(network_.input.height) &&
                      (input_.dims[2] == 1 || input_.dims[2] == 3);
    return journal_.expects(kOperation, fits,
                            called("width and height as in the configuration, 1 or 3 channels: " +
                                   std::to_string(network_.input.width) + " x " +
                                   std::to_string(network_.input.height)),
                            dimsText(input_.dims));
}

bool NetworkTrial::makeTensor() {
    journal_.calls("AllocateTensorDeviceMemory");
    tensorMemory_ = AllocateTensorDeviceMemory(context_, input_.dims, 1);
    if (!journal_.expects("AllocateTensorDeviceMemory", tensorMemory_ != nullptr,
                          called("memory for " + dimsText(input_.dims)), "null")) {
        return false;
    }
    journal_.calls("CreateTensorFromHandle");
    tensor_ = CreateTensorFromHandle(context_, input_.dims, 1, tensorMemory_);
    if (!journal_.expects("CreateTensorFromHandle", tensor_ != nullptr, called("a tensor"),
                          "null")) {
        return false;
    }
    input_.tensor = tensor_;
    queryInputTensor();
    return true;
}

void NetworkTrial::queryInputTensor() {
    constexpr char kOperation[] = "vxQueryTensor";
    std::array<std::uint32_t, 4> dims{};
    std::uint32_t bytes = 0;
    journal_.calls(kOperation);
    vx_status status = vxQueryTensor(tensor_, VX_TENSOR_DIMS, dims.data(), sizeof dims);
    journal_.expects(kOperation,
                     status == VX_SUCCESS && std::equal(input_.dims, input_.dims + 3, dims.begin()),
                     called("the sides of the input, " + dimsText(input_.dims)),
                     statusText(status) + ", " + dimsText(dims.data()));
    status = vxQueryTensor(tensor_, VX_TENSOR_DATA_BYTES, &bytes, sizeof bytes);
    journal_.expects(kOperation, status == VX_SUCCESS && bytes == bytesOf(input_.dims),
                     called("the size of the input, " + std::to_string(bytesOf(input_.dims))),
                     statusText(status) + ", " + std::to_string(bytes));
    journal_.expects(kOperation, dataOf(tensor_) != nullptr,
                     called("the address of the input's data"), "none");
}

bool NetworkTrial::makeFrame() {
    const auto luma = static_cast<std::uint32_t>(network_.input.width * network_.input.height);
    const std::uint32_t bytes = luma + luma / 2;
    journal_.calls("vxAllocateDeviceMemory");
    frameMemory_ = vxAllocateDeviceMemory(context_, bytes);
    if (!journal_.expects("vxAllocateDeviceMemory", frameMemory_ != nullptr,
                          called(std::to_string(bytes) + " bytes"), "null")) {
        return false;
    }
    journal_.calls("vxGetDeviceMemoryPhysicalAddress");
    framePhysical_ = vxGetDeviceMemoryPhysicalAddress(frameMemory_);
    journal_.expects(
        "vxGetDeviceMemoryPhysicalAddress",
        framePhysical_ != 0 && framePhysical_ <= std::numeric_limits<std::uint32_t>::max() - bytes,
        called("an address whose memory lies within 32 bits"), std::to_string(framePhysical_));
    constexpr char kOperation[] = "vxGetDeviceMemoryVirtualAddress";
    journal_.calls(kOperation);
    auto* const address = static_cast<std::uint8_t*>(vxGetDeviceMemoryVirtualAddress(frameMemory_));
    if (!journal_.expects(kOperation, address != nullptr, called("an address"), "null")) {
        return false;
    }
    frame_ = {address, bytes};
    std::ranges::fill(frame_, kOverwritten);
    return journal_.expects(
        kOperation,
        std::ranges::all_of(frame_, [](std::uint8_t byte) { return byte == kOverwritten; }),
        called("memory that keeps what is written"));
}

bool NetworkTrial::makeGraph() {
    journal_.calls("CreateNetGraph");
    graph_ = CreateNetGraph(context_, net_, blobs_, kEveryLayer, kAnyDevice);
    if (!journal_.expects("CreateNetGraph", graph_ != nullptr, called("a graph"), "null")) {
        return false;
    }
    journal_.calls("vxVerifyGraph");
    const vx_status status = vxVerifyGraph(graph_);
    const bool verified = journal_.expects("vxVerifyGraph", status == VX_SUCCESS,
                                           called("status 0"), statusText(status));
    unloadModels();
    return verified;
}

// The graph goes on without them.
void NetworkTrial::unloadModels() {
    for (NetModel* const model : {&net_, &blobs_}) {
        if (*model != nullptr) {
            journal_.calls("UnLoadNetModel");
            const vx_status status = UnLoadNetModel(*model);
            *model = nullptr;
            journal_.expects("UnLoadNetModel", status == VX_SUCCESS, called("status 0"),
                             statusText(status));
        }
    }
}

Bytes NetworkTrial::run(const Bytes& picture) {
    return convert(picture) && bind() && process() ? takeOutputs() : Bytes{};
}

bool NetworkTrial::convert(const Bytes& picture) {
    std::ranges::copy(picture, frame_.begin());
    std::ranges::fill(frame_.subspan(picture.size()), kNoColour);
    journal_.calls("vxFlushDeviceMemoryCache");
    vx_status status = vxFlushDeviceMemoryCache(context_, frame_.data(),
                                                static_cast<std::uint32_t>(frame_.size()));
    journal_.expects("vxFlushDeviceMemoryCache", status == VX_SUCCESS, called("status 0"),
                     statusText(status));
    NpuImageDescriptor image{};
    image.width = image.outputWidth = network_.input.width;
    image.height = image.outputHeight = network_.input.height;
    image.strideY = image.strideUV = network_.input.width;
    image.format = NPU_FORMAT_YUV420_TWO_PLANE;
    image.physicalY = framePhysical_;
    image.physicalUV = framePhysical_ + static_cast<std::uint32_t>(picture.size());
    journal_.calls("ImageConvertDeviceProcess");
    status = ImageConvertDeviceProcess(context_, &image, tensor_, image.strideUV);
    return journal_.expects("ImageConvertDeviceProcess", status == VX_SUCCESS, called("status 0"),
                            statusText(status)) &&
           showsPicture(picture);
}

bool NetworkTrial::showsPicture(const Bytes& picture) {
    const std::uint8_t* const data = dataOf(tensor_);
    return data != nullptr &&
           journal_.expects("ImageConvertDeviceProcess",
                            isPictureIn({data, bytesOf(input_.dims)}, picture, input_.dims[2]),
                            called("the picture's pixels in the tensor"), "others");
}

bool NetworkTrial::bind() {
    const NetInputBlobList inputs{&input_, 1};
    journal_.calls("SetNetInputBlobsTensor");
    const vx_status status = SetNetInputBlobsTensor(graph_, &inputs, tensor_, &input_);
    return journal_.expects("SetNetInputBlobsTensor", status == VX_SUCCESS, called("status 0"),
                            statusText(status));
}

bool NetworkTrial::process() {
    journal_.calls("vxProcessGraph");
    vx_status status = vxProcessGraph(graph_);
    const bool processed = journal_.expects("vxProcessGraph", status == VX_SUCCESS,
                                            called("status 0"), statusText(status));
    journal_.calls("vxFinish");
    status = vxFinish(context_);
    journal_.expects("vxFinish", status == VX_SUCCESS, called("status 0"), statusText(status));
    return processed;
}

Bytes NetworkTrial::takeOutputs() {
    constexpr char kOperation[] = "GetNetOutputBlobsTensor";
    NetOutputBlobList names{};
    NetTensorList tensors{};
    journal_.calls(kOperation);
    const vx_status status = GetNetOutputBlobsTensor(graph_, &names, &tensors);
    journal_.expects(kOperation, status == VX_SUCCESS, called("status 0"), statusText(status));
    if (!journal_.expects(kOperation, tensors.count > 0 && tensors.count == names.count,
                          called("outputs, each with its name"),
                          std::to_string(tensors.count) + " tensors, " +
                              std::to_string(names.count) + " names")) {
        return {};
    }
    journal_.expects(kOperation, areTerminated(names), called("names that end in their fields"));
    Bytes output = contentOf(tensors.tensors[tensors.count - 1]);
    for (std::uint32_t i = 0; i < tensors.count; ++i) {
        vx_tensor* const tensor = &tensors.tensors[i];
        journal_.calls("vxReleaseTensor");
        journal_.expects("vxReleaseTensor",
                         vxReleaseTensor(tensor) == VX_SUCCESS && *tensor == nullptr,
                         called("status 0 and a handle of null for an output"));
    }
    return output;
}

Bytes NetworkTrial::contentOf(vx_tensor tensor) {
    std::uint32_t bytes = 0;
    journal_.calls("vxQueryTensor");
    const vx_status status = vxQueryTensor(tensor, VX_TENSOR_DATA_BYTES, &bytes, sizeof bytes);
    const std::uint8_t* const data = dataOf(tensor);
    if (!journal_.expects("vxQueryTensor",
                          status == VX_SUCCESS && bytes == network_.outputBytes && data != nullptr,
                          called("the last output of " + std::to_string(network_.outputBytes) +
                                 " bytes, and its address"),
                          statusText(status) + ", " + std::to_string(bytes) + " bytes, " +
                              (data == nullptr ? "no address" : "an address"))) {
        return {};
    }
    return {data, data + bytes};
}

bool NetworkTrial::areTerminated(const NetOutputBlobList& names) const {
    return std::all_of(names.records, names.records + names.count,
                       [](const NetOutputBlob& record) { return isTerminated(record.name); });
}

void NetworkTrial::release() {
    unloadModels();
    if (tensor_ != nullptr) {
        journal_.calls("vxReleaseTensor");
        journal_.expects("vxReleaseTensor",
                         vxReleaseTensor(&tensor_) == VX_SUCCESS && tensor_ == nullptr,
                         called("status 0 and a handle of null"));
    }
    for (void* const memory :
         {static_cast<void*>(tensorMemory_), static_cast<void*>(frameMemory_)}) {
        if (memory != nullptr) {
            journal_.calls("vxFreeDeviceMemory");
            journal_.expects("vxFreeDeviceMemory",
                             vxFreeDeviceMemory(context_, memory) == VX_SUCCESS,
                             called(memory == tensorMemory_ ? "status 0 for tensor memory"
                                                            : "status 0 for device memory"));
        }
    }
    if (graph_ != nullptr) {
        journal_.calls("vxReleaseGraph");
        journal_.expects("vxReleaseGraph",
                         vxReleaseGraph(&graph_) == VX_SUCCESS && graph_ == nullptr,
                         called("status 0 and a handle of null"));
    }
}

}  // namespace brairu::conformance
