#include "npuSession.h"

#include <gtest/gtest.h>

#include <cstring>

namespace brairu::test {

NetModel loadModel(const std::string& bytes) {
    std::uint32_t flag = 1;
    NetModel model = nullptr;
    LoadNetModelFromMem(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &flag, &model);
    return model;
}

vx_status verifyPair(const ModelPair& pair) {
    vx_context context = vxCreateContext();
    const NetModel net = loadModel(pair.net);
    const NetModel blobs = loadModel(pair.blobs);
    vx_graph graph = CreateNetGraph(context, net, blobs, 0x7fffffff, -1);
    const vx_status status = vxVerifyGraph(graph);
    UnLoadNetModel(net);
    UnLoadNetModel(blobs);
    vxReleaseGraph(&graph);
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
    return status;
}

NpuSession::NpuSession(const ModelPair& pair) {
    const NetModel net = loadModel(pair.net);
    const NetModel blobs = loadModel(pair.blobs);
    context = vxCreateContext();
    EXPECT_EQ(vxGetStatus(context), VX_SUCCESS);
    EXPECT_EQ(vxLoadKernels(context, "openvx-nn"), VX_SUCCESS);
    EXPECT_EQ(GetNetInputBlobs(net, &inputs), VX_SUCCESS);
    imageMemory = AllocateTensorDeviceMemory(context, inputs.records[0].dims, 1);
    image = CreateTensorFromHandle(context, inputs.records[0].dims, 1, imageMemory);
    describeFrame();
    graph = CreateNetGraph(context, net, blobs, 0x7fffffff, -1);
    EXPECT_EQ(vxVerifyGraph(graph), VX_SUCCESS);
    EXPECT_EQ(UnLoadNetModel(net), VX_SUCCESS);
    EXPECT_EQ(UnLoadNetModel(blobs), VX_SUCCESS);
}

void NpuSession::describeFrame() {
    const auto width = static_cast<std::int32_t>(inputs.records[0].dims[0]);
    const auto height = static_cast<std::int32_t>(inputs.records[0].dims[1]);
    const auto bytes = static_cast<std::uint32_t>(width * height + width * height / 2);
    frame = vxAllocateDeviceMemory(context, bytes);
    const std::uint32_t physical = vxGetDeviceMemoryPhysicalAddress(frame);
    descriptor = {width,
                  height,
                  width,
                  width,
                  NPU_FORMAT_YUV420_TWO_PLANE,
                  physical,
                  physical + static_cast<std::uint32_t>(width * height),
                  0,
                  0,
                  width,
                  height};
}

NpuSession::~NpuSession() {
    EXPECT_EQ(vxFreeDeviceMemory(context, imageMemory), VX_SUCCESS);
    EXPECT_EQ(vxReleaseTensor(&inputs.records[0].tensor), VX_SUCCESS);
    EXPECT_EQ(vxFreeDeviceMemory(context, frame), VX_SUCCESS);
    EXPECT_EQ(vxReleaseGraph(&graph), VX_SUCCESS);
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
}

std::vector<Output> NpuSession::run(const std::vector<std::uint8_t>& luma) {
    auto* bytes = static_cast<std::uint8_t*>(vxGetDeviceMemoryVirtualAddress(frame));
    std::memset(bytes, 128, luma.size() + luma.size() / 2);
    std::memcpy(bytes, luma.data(), luma.size());
    EXPECT_EQ(vxFlushDeviceMemoryCache(context, bytes, static_cast<std::uint32_t>(luma.size())),
              VX_SUCCESS);
    EXPECT_EQ(ImageConvertDeviceProcess(context, &descriptor, image, descriptor.strideUV),
              VX_SUCCESS);
    inputs.records[0].tensor = image;
    EXPECT_EQ(SetNetInputBlobsTensor(graph, &inputs, image, &inputs.records[0]), VX_SUCCESS);
    EXPECT_EQ(vxProcessGraph(graph), VX_SUCCESS);
    EXPECT_EQ(vxFinish(context), VX_SUCCESS);

    NetOutputBlobList names = {nullptr, 0};
    NetTensorList tensors = {nullptr, 0};
    EXPECT_EQ(GetNetOutputBlobsTensor(graph, &names, &tensors), VX_SUCCESS);
    EXPECT_EQ(names.count, tensors.count);
    std::vector<Output> outputs;
    for (std::uint32_t i = 0; i < tensors.count; ++i) {
        Output output{names.records[i].name, {}, {}};
        std::uint32_t size = 0;
        const std::int8_t* data = nullptr;
        EXPECT_EQ(vxQueryTensor(tensors.tensors[i], VX_TENSOR_DIMS, output.dims, 16), VX_SUCCESS);
        EXPECT_EQ(vxQueryTensor(tensors.tensors[i], VX_TENSOR_DATA_BYTES, &size, 4), VX_SUCCESS);
        EXPECT_EQ(vxQueryTensor(tensors.tensors[i], VX_TENSOR_DATA_ADDRESS, &data, sizeof data),
                  VX_SUCCESS);
        output.values.assign(data, data + size);
        EXPECT_EQ(vxReleaseTensor(&tensors.tensors[i]), VX_SUCCESS);
        outputs.push_back(std::move(output));
    }
    return outputs;
}

}  // namespace brairu::test
