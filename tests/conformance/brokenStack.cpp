#include "conformance/brokenStack.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "npu.h"
#include "platformLog.h"
#include "support/anyHandle.h"

namespace brairu::test {
namespace {

constexpr int kExit = 3;

Breakage& chosen() {
    static Breakage breakage;
    return breakage;
}

bool has(std::string_view operation, Fault fault) {
    return chosen().operation == operation && chosen().fault == fault;
}

bool isNotYetBroken(std::string_view operation) {
    return chosen().operation == operation && chosen().callsBefore-- > 0;
}

void endIfTold(std::string_view operation) {
    if (has(operation, Fault::crashes)) {
        std::abort();
    }
    if (has(operation, Fault::exits)) {
        std::_Exit(kExit);
    }
    if (has(operation, Fault::exitsInOrder)) {
        std::_Exit(EXIT_SUCCESS);
    }
    while (has(operation, Fault::hangs)) {
        ::pause();
    }
}

// The way of every operation: as it is, unless it is the broken one.
template <class Result, class Real>
Result unlessBroken(const char* operation, bool isNull, Result success, Result failure,
                    const Real& real) {
    if (isNotYetBroken(operation)) {
        return real();
    }
    endIfTold(operation);
    if (has(operation, Fault::refuses)) {
        return failure;
    }
    return isNull && has(operation, Fault::takesNull) ? success : real();
}

std::uint8_t* dataOf(vx_tensor tensor) {
    void* address = nullptr;
    vxQueryTensor(tensor, VX_TENSOR_DATA_ADDRESS, &address, sizeof address);
    return static_cast<std::uint8_t*>(address);
}

std::uint32_t bytesOf(vx_tensor tensor) {
    std::uint32_t bytes = 0;
    vxQueryTensor(tensor, VX_TENSOR_DATA_BYTES, &bytes, sizeof bytes);
    return bytes;
}

void invert(vx_tensor tensor) {
    std::uint8_t* const data = dataOf(tensor);
    std::for_each(data, data + bytesOf(tensor),
                  [](std::uint8_t& byte) { byte = static_cast<std::uint8_t>(~byte); });
}

}  // namespace

void breakStack(const Breakage& breakage) {
    chosen() = breakage;
}

}  // namespace brairu::test

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's names for what it wraps
using namespace brairu::test;

extern "C" {

vx_status __real_LoadNetModelFromMem(const void* buffer, std::uint32_t bytes, std::uint32_t* flag,
                                     NetModel* model);
vx_status __real_UnLoadNetModel(NetModel model);
vx_status __real_GetNetInputBlobs(NetModel model, NetInputBlobList* inputs);
vx_context __real_vxCreateContext();
vx_status __real_vxGetStatus(vx_context context);
vx_status __real_vxLoadKernels(vx_context context, const char* name);
vx_status __real_vxFinish(vx_context context);
vx_status __real_vxReleaseContext(vx_context* context);
vx_device_memory __real_vxAllocateDeviceMemory(vx_context context, std::uint32_t bytes);
std::uint32_t __real_vxGetDeviceMemoryPhysicalAddress(vx_device_memory memory);
void* __real_vxGetDeviceMemoryVirtualAddress(vx_device_memory memory);
vx_status __real_vxFlushDeviceMemoryCache(vx_context context, void* address, std::uint32_t bytes);
vx_status __real_vxFreeDeviceMemory(vx_context context, void* memory);
NetTensorMemory __real_AllocateTensorDeviceMemory(vx_context context, const std::uint32_t* dims,
                                                  std::uint32_t bytes);
vx_tensor __real_CreateTensorFromHandle(vx_context context, const std::uint32_t* dims,
                                        std::uint32_t bytes, NetTensorMemory memory);
vx_status __real_vxQueryTensor(vx_tensor tensor, std::int32_t attribute, void* value,
                               std::size_t bytes);
vx_status __real_vxReleaseTensor(vx_tensor* tensor);
vx_graph __real_CreateNetGraph(vx_context context, NetModel net, NetModel blobs,
                               std::int32_t layers, std::int32_t device);
vx_status __real_vxVerifyGraph(vx_graph graph);
vx_status __real_vxReleaseGraph(vx_graph* graph);
vx_status __real_ImageConvertDeviceProcess(vx_context context, const NpuImageDescriptor* image,
                                           vx_tensor output, std::int32_t strideUV);
vx_status __real_SetNetInputBlobsTensor(vx_graph graph, const NetInputBlobList* inputs,
                                        vx_tensor tensor, NetInputBlob* input);
vx_status __real_vxProcessGraph(vx_graph graph);
vx_status __real_GetNetOutputBlobsTensor(vx_graph graph, NetOutputBlobList* names,
                                         NetTensorList* tensors);

vx_status __wrap_LoadNetModelFromMem(const void* buffer, std::uint32_t bytes, std::uint32_t* flag,
                                     NetModel* model) {
    return unlessBroken("LoadNetModelFromMem", buffer == nullptr || bytes == 0,
                        vx_status{VX_SUCCESS}, vx_status{VX_FAILURE}, [&] {
                            // Without the last byte of what it was given.
                            const std::uint32_t kept =
                                has("LoadNetModelFromMem", Fault::lies) ? bytes - 1 : bytes;
                            return __real_LoadNetModelFromMem(buffer, kept, flag, model);
                        });
}

vx_status __wrap_UnLoadNetModel(NetModel model) {
    return unlessBroken("UnLoadNetModel", model == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE}, [&] { return __real_UnLoadNetModel(model); });
}

vx_status __wrap_GetNetInputBlobs(NetModel model, NetInputBlobList* inputs) {
    return unlessBroken("GetNetInputBlobs", model == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE}, [&] {
                            const vx_status status = __real_GetNetInputBlobs(model, inputs);
                            if (has("GetNetInputBlobs", Fault::lies) && inputs->count > 0) {
                                ++inputs->records[0].dims[0];
                            }
                            return status;
                        });
}

vx_context __wrap_vxCreateContext() {
    return unlessBroken("vxCreateContext", false, anyHandle<NpuContext>(), vx_context{}, [&] {
        // One context, and no other beside it.
        static bool isTaken = false;
        const bool refuses = isTaken && has("vxCreateContext", Fault::lies);
        isTaken = true;
        return refuses ? vx_context{} : __real_vxCreateContext();
    });
}

vx_status __wrap_vxGetStatus(vx_context context) {
    return unlessBroken("vxGetStatus", context == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE}, [&] { return __real_vxGetStatus(context); });
}

vx_status __wrap_vxLoadKernels(vx_context context, const char* name) {
    return unlessBroken("vxLoadKernels", context == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE}, [&] { return __real_vxLoadKernels(context, name); });
}

vx_status __wrap_vxFinish(vx_context context) {
    return unlessBroken("vxFinish", context == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE}, [&] { return __real_vxFinish(context); });
}

vx_status __wrap_vxReleaseContext(vx_context* context) {
    return unlessBroken(
        "vxReleaseContext", *context == nullptr, vx_status{VX_SUCCESS}, vx_status{VX_FAILURE}, [&] {
            vx_context copy = *context;
            return __real_vxReleaseContext(has("vxReleaseContext", Fault::lies) ? &copy : context);
        });
}

vx_device_memory __wrap_vxAllocateDeviceMemory(vx_context context, std::uint32_t bytes) {
    return unlessBroken("vxAllocateDeviceMemory", context == nullptr, anyHandle<NpuDeviceMemory>(),
                        vx_device_memory{},
                        [&] { return __real_vxAllocateDeviceMemory(context, bytes); });
}

std::uint32_t __wrap_vxGetDeviceMemoryPhysicalAddress(vx_device_memory memory) {
    return unlessBroken("vxGetDeviceMemoryPhysicalAddress", memory == nullptr, std::uint32_t{1},
                        std::uint32_t{0}, [&] {
                            // So near the end that the memory would not fit.
                            return has("vxGetDeviceMemoryPhysicalAddress", Fault::lies)
                                       ? 0xffffff00U
                                       : __real_vxGetDeviceMemoryPhysicalAddress(memory);
                        });
}

void* __wrap_vxGetDeviceMemoryVirtualAddress(vx_device_memory memory) {
    return unlessBroken("vxGetDeviceMemoryVirtualAddress", memory == nullptr,
                        static_cast<void*>(anyHandle<NpuDeviceMemory>()),
                        static_cast<void*>(nullptr),
                        [&] { return __real_vxGetDeviceMemoryVirtualAddress(memory); });
}

vx_status __wrap_vxFlushDeviceMemoryCache(vx_context context, void* address, std::uint32_t bytes) {
    return unlessBroken("vxFlushDeviceMemoryCache", context == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE},
                        [&] { return __real_vxFlushDeviceMemoryCache(context, address, bytes); });
}

vx_status __wrap_vxFreeDeviceMemory(vx_context context, void* memory) {
    return unlessBroken("vxFreeDeviceMemory", memory == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE},
                        [&] { return __real_vxFreeDeviceMemory(context, memory); });
}

NetTensorMemory __wrap_AllocateTensorDeviceMemory(vx_context context, const std::uint32_t* dims,
                                                  std::uint32_t bytes) {
    return unlessBroken("AllocateTensorDeviceMemory", context == nullptr,
                        anyHandle<NpuTensorMemory>(), NetTensorMemory{},
                        [&] { return __real_AllocateTensorDeviceMemory(context, dims, bytes); });
}

vx_tensor __wrap_CreateTensorFromHandle(vx_context context, const std::uint32_t* dims,
                                        std::uint32_t bytes, NetTensorMemory memory) {
    return unlessBroken(
        "CreateTensorFromHandle", context == nullptr, anyHandle<NpuTensor>(), vx_tensor{},
        [&] { return __real_CreateTensorFromHandle(context, dims, bytes, memory); });
}

vx_status __wrap_vxQueryTensor(vx_tensor tensor, std::int32_t attribute, void* value,
                               std::size_t bytes) {
    return unlessBroken(
        "vxQueryTensor", tensor == nullptr, vx_status{VX_SUCCESS}, vx_status{VX_FAILURE}, [&] {
            const vx_status status = __real_vxQueryTensor(tensor, attribute, value, bytes);
            if (has("vxQueryTensor", Fault::lies) && attribute == VX_TENSOR_DATA_BYTES) {
                --*static_cast<std::uint32_t*>(value);
            }
            return status;
        });
}

vx_status __wrap_vxReleaseTensor(vx_tensor* tensor) {
    return unlessBroken(
        "vxReleaseTensor", *tensor == nullptr, vx_status{VX_SUCCESS}, vx_status{VX_FAILURE}, [&] {
            vx_tensor copy = *tensor;
            return __real_vxReleaseTensor(has("vxReleaseTensor", Fault::lies) ? &copy : tensor);
        });
}

vx_graph __wrap_CreateNetGraph(vx_context context, NetModel net, NetModel blobs,
                               std::int32_t layers, std::int32_t device) {
    return unlessBroken("CreateNetGraph", context == nullptr, anyHandle<NpuGraph>(), vx_graph{},
                        [&] { return __real_CreateNetGraph(context, net, blobs, layers, device); });
}

vx_status __wrap_vxVerifyGraph(vx_graph graph) {
    return unlessBroken(
        "vxVerifyGraph", graph == nullptr, vx_status{VX_SUCCESS}, vx_status{VX_FAILURE}, [&] {
            const vx_status status = __real_vxVerifyGraph(graph);
            return has("vxVerifyGraph", Fault::lies) ? vx_status{VX_SUCCESS} : status;
        });
}

vx_status __wrap_vxReleaseGraph(vx_graph* graph) {
    return unlessBroken(
        "vxReleaseGraph", *graph == nullptr, vx_status{VX_SUCCESS}, vx_status{VX_FAILURE}, [&] {
            vx_graph copy = *graph;
            return __real_vxReleaseGraph(has("vxReleaseGraph", Fault::lies) ? &copy : graph);
        });
}

vx_status __wrap_ImageConvertDeviceProcess(vx_context context, const NpuImageDescriptor* image,
                                           vx_tensor output, std::int32_t strideUV) {
    return unlessBroken("ImageConvertDeviceProcess", context == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE}, [&] {
                            const vx_status status =
                                __real_ImageConvertDeviceProcess(context, image, output, strideUV);
                            if (has("ImageConvertDeviceProcess", Fault::lies)) {
                                invert(output);
                            }
                            return status;
                        });
}

vx_status __wrap_SetNetInputBlobsTensor(vx_graph graph, const NetInputBlobList* inputs,
                                        vx_tensor tensor, NetInputBlob* input) {
    return unlessBroken(
        "SetNetInputBlobsTensor", graph == nullptr, vx_status{VX_SUCCESS}, vx_status{VX_FAILURE},
        [&] { return __real_SetNetInputBlobsTensor(graph, inputs, tensor, input); });
}

vx_status __wrap_vxProcessGraph(vx_graph graph) {
    return unlessBroken("vxProcessGraph", graph == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE}, [&] {
                            // Runs once, and gives the first answer ever after.
                            static bool ran = false;
                            const bool skips = ran && has("vxProcessGraph", Fault::lies);
                            ran = true;
                            return skips ? vx_status{VX_SUCCESS} : __real_vxProcessGraph(graph);
                        });
}

vx_status __wrap_GetNetOutputBlobsTensor(vx_graph graph, NetOutputBlobList* names,
                                         NetTensorList* tensors) {
    return unlessBroken("GetNetOutputBlobsTensor", graph == nullptr, vx_status{VX_SUCCESS},
                        vx_status{VX_FAILURE}, [&] {
                            const vx_status status =
                                __real_GetNetOutputBlobsTensor(graph, names, tensors);
                            if (has("GetNetOutputBlobsTensor", Fault::lies) && tensors->count > 0) {
                                std::fill_n(names->records[0].name, NET_BLOB_NAME_BYTES, 'x');
                            }
                            return status;
                        });
}

int __wrap___android_log_print(int, const char*, const char*, ...) {
    return has("__android_log_print", Fault::refuses) ? -1 : 0;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
