// Doubles of the board's libraries that take no memory and cannot fail: what fails is below the
// library and not beside it.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "npu.h"
#include "quietBoard.h"

namespace {

// Handles are never looked into.
template <class Handle>
Handle* anyHandle() {
    static std::max_align_t thing;
    return reinterpret_cast<Handle*>(&thing);
}

NetInputBlob input{"input", {128, 128, 1}, nullptr};
std::uint8_t frameMemory[128 * 128 * 3 / 2];
int completeStarts = 0;

}  // namespace

int brairu::test::takeCompleteStarts() {
    const int starts = completeStarts;
    completeStarts = 0;
    return starts;
}

extern "C" int __android_log_print(int, const char*, const char* format, ...) {
    if (std::strcmp(format, "%s") == 0) {
        __builtin_va_list arguments;
        __builtin_va_start(arguments, format);
        const char* const text = __builtin_va_arg(arguments, const char*);
        completeStarts += std::strcmp(text, "pva search init succ\r\n") == 0;
        __builtin_va_end(arguments);
    }
    return 0;
}

vx_status LoadNetModelFromMem(const void*, std::uint32_t bytes, std::uint32_t*, NetModel* model) {
    *model = bytes > 0 ? anyHandle<NpuNetModel>() : nullptr;
    return bytes > 0 ? VX_SUCCESS : VX_FAILURE;
}

vx_status UnLoadNetModel(NetModel) {
    return VX_SUCCESS;
}

vx_status GetNetInputBlobs(NetModel netModel, NetInputBlobList* inputs) {
    *inputs = {&input, netModel != nullptr ? 1u : 0u};
    return VX_SUCCESS;
}

vx_context vxCreateContext() {
    return anyHandle<NpuContext>();
}

vx_status vxGetStatus(vx_context) {
    return VX_SUCCESS;
}

vx_status vxLoadKernels(vx_context, const char*) {
    return VX_SUCCESS;
}

vx_status vxFinish(vx_context) {
    return VX_SUCCESS;
}

vx_status vxReleaseContext(vx_context*) {
    return VX_SUCCESS;
}

vx_device_memory vxAllocateDeviceMemory(vx_context, std::uint32_t) {
    return anyHandle<NpuDeviceMemory>();
}

std::uint32_t vxGetDeviceMemoryPhysicalAddress(vx_device_memory) {
    return 1;
}

void* vxGetDeviceMemoryVirtualAddress(vx_device_memory) {
    return frameMemory;
}

vx_status vxFlushDeviceMemoryCache(vx_context, void*, std::uint32_t) {
    return VX_SUCCESS;
}

vx_status vxFreeDeviceMemory(vx_context, void*) {
    return VX_SUCCESS;
}

NetTensorMemory AllocateTensorDeviceMemory(vx_context, const std::uint32_t*, std::uint32_t) {
    return anyHandle<NpuTensorMemory>();
}

vx_tensor CreateTensorFromHandle(vx_context, const std::uint32_t*, std::uint32_t, NetTensorMemory) {
    return anyHandle<NpuTensor>();
}

vx_status vxQueryTensor(vx_tensor, std::int32_t, void*, std::size_t) {
    return VX_FAILURE;
}

vx_status vxReleaseTensor(vx_tensor*) {
    return VX_SUCCESS;
}

// A pair without weights is refused.
vx_graph CreateNetGraph(vx_context, NetModel, NetModel blobsModel, std::int32_t, std::int32_t) {
    return blobsModel != nullptr ? anyHandle<NpuGraph>() : nullptr;
}

vx_status vxVerifyGraph(vx_graph graph) {
    return graph != nullptr ? VX_SUCCESS : VX_FAILURE;
}

vx_status vxReleaseGraph(vx_graph*) {
    return VX_SUCCESS;
}

vx_status ImageConvertDeviceProcess(vx_context, const NpuImageDescriptor*, vx_tensor,
                                    std::int32_t) {
    return VX_SUCCESS;
}

vx_status SetNetInputBlobsTensor(vx_graph, const NetInputBlobList*, vx_tensor, NetInputBlob*) {
    return VX_SUCCESS;
}

vx_status vxProcessGraph(vx_graph) {
    return VX_SUCCESS;
}

vx_status GetNetOutputBlobsTensor(vx_graph, NetOutputBlobList*, NetTensorList*) {
    return VX_FAILURE;
}
