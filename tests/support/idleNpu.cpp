// The operations of the NPU stack that a double has nothing to say to: they take no memory and
// cannot fail.
#include <array>
#include <cstdint>

#include "npu.h"
#include "support/anyHandle.h"

using brairu::test::anyHandle;

namespace {

std::array<std::uint8_t, 128 * 128 * 3 / 2> frameMemory;

}  // namespace

vx_status UnLoadNetModel(NetModel) {
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
    return frameMemory.data();
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

vx_status vxReleaseTensor(vx_tensor*) {
    return VX_SUCCESS;
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
