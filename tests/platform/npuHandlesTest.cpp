#include <gmock/gmock.h>

#include "handles.h"
#include "npuSession.h"

namespace brairu::test {
namespace {

constexpr std::uint32_t kDims[3] = {4, 3, 1};

class NpuHandles : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(npu::Handles::all().live(), 0U); }
};

template <class Handle>
Handle invented(std::uintptr_t number) {
    return reinterpret_cast<Handle>(number);
}

TEST_F(NpuHandles, FailOnNull) {
    std::uint32_t word = 1;
    EXPECT_EQ(UnLoadNetModel(nullptr), VX_FAILURE);
    EXPECT_EQ(vxGetStatus(nullptr), VX_FAILURE);
    EXPECT_EQ(vxLoadKernels(nullptr, "openvx-nn"), VX_FAILURE);
    EXPECT_EQ(vxFinish(nullptr), VX_FAILURE);
    EXPECT_EQ(vxReleaseContext(nullptr), VX_FAILURE);
    EXPECT_EQ(vxAllocateDeviceMemory(nullptr, 16), nullptr);
    EXPECT_EQ(vxGetDeviceMemoryPhysicalAddress(nullptr), 0U);
    EXPECT_EQ(vxGetDeviceMemoryVirtualAddress(nullptr), nullptr);
    EXPECT_EQ(vxFlushDeviceMemoryCache(nullptr, &word, 4), VX_FAILURE);
    EXPECT_EQ(vxFreeDeviceMemory(nullptr, nullptr), VX_FAILURE);
    EXPECT_EQ(AllocateTensorDeviceMemory(nullptr, kDims, 1), nullptr);
    EXPECT_EQ(CreateTensorFromHandle(nullptr, kDims, 1, nullptr), nullptr);
    EXPECT_EQ(vxReleaseTensor(nullptr), VX_FAILURE);
    EXPECT_EQ(CreateNetGraph(nullptr, nullptr, nullptr, 0x7fffffff, -1), nullptr);
    EXPECT_EQ(vxVerifyGraph(nullptr), VX_FAILURE);
    EXPECT_EQ(vxProcessGraph(nullptr), VX_FAILURE);
    EXPECT_EQ(vxReleaseGraph(nullptr), VX_FAILURE);
    EXPECT_EQ(ImageConvertDeviceProcess(nullptr, nullptr, nullptr, 0), VX_FAILURE);
    EXPECT_EQ(SetNetInputBlobsTensor(nullptr, nullptr, nullptr, nullptr), VX_FAILURE);
    EXPECT_EQ(GetNetOutputBlobsTensor(nullptr, nullptr, nullptr), VX_FAILURE);
    EXPECT_EQ(GetNetInputBlobs(nullptr, nullptr), VX_FAILURE);
    NetInputBlobList inputs = {nullptr, 3};
    EXPECT_EQ(GetNetInputBlobs(nullptr, &inputs), VX_FAILURE);
    EXPECT_EQ(inputs.count, 0U);
}

TEST_F(NpuHandles, FailWhenInvented) {
    const std::uintptr_t number = UINTPTR_MAX / 2;
    vx_context context = invented<vx_context>(number);
    vx_graph graph = invented<vx_graph>(number);
    vx_tensor tensor = invented<vx_tensor>(number);
    EXPECT_EQ(vxGetStatus(context), VX_FAILURE);
    EXPECT_EQ(vxReleaseContext(&context), VX_FAILURE);
    EXPECT_EQ(vxReleaseGraph(&graph), VX_FAILURE);
    EXPECT_EQ(vxReleaseTensor(&tensor), VX_FAILURE);
    EXPECT_EQ(UnLoadNetModel(invented<NetModel>(number)), VX_FAILURE);
    EXPECT_NE(context, nullptr) << "a failed release leaves the caller's handle alone";
}

TEST_F(NpuHandles, FailOfAnotherKind) {
    vx_context context = vxCreateContext();
    EXPECT_EQ(vxVerifyGraph(reinterpret_cast<vx_graph>(context)), VX_FAILURE);
    EXPECT_EQ(vxFreeDeviceMemory(context, context), VX_FAILURE);
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
}

TEST_F(NpuHandles, AreNulledByTheirReleaseAndFailTheSecondTime) {
    vx_context context = vxCreateContext();
    vx_context copy = context;
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(vxReleaseContext(&context), VX_FAILURE);
    EXPECT_EQ(vxReleaseContext(&copy), VX_FAILURE);
}

TEST_F(NpuHandles, FailTheSecondTimeForMemoryTensorsAndModels) {
    vx_context context = vxCreateContext();
    const vx_device_memory memory = vxAllocateDeviceMemory(context, 16);
    const NetTensorMemory tensorMemory = AllocateTensorDeviceMemory(context, kDims, 1);
    vx_tensor tensor = CreateTensorFromHandle(context, kDims, 1, tensorMemory);
    vx_tensor copy = tensor;
    const NetModel model = loadModel("anything");
    EXPECT_EQ(vxFreeDeviceMemory(context, tensorMemory), VX_SUCCESS);
    EXPECT_EQ(vxFreeDeviceMemory(context, tensorMemory), VX_FAILURE);
    EXPECT_EQ(vxReleaseTensor(&tensor), VX_SUCCESS);
    EXPECT_EQ(vxReleaseTensor(&copy), VX_FAILURE);
    EXPECT_EQ(vxFreeDeviceMemory(context, memory), VX_SUCCESS);
    EXPECT_EQ(vxFreeDeviceMemory(context, memory), VX_FAILURE);
    EXPECT_EQ(UnLoadNetModel(model), VX_SUCCESS);
    EXPECT_EQ(UnLoadNetModel(model), VX_FAILURE);
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
}

TEST_F(NpuHandles, AreNotGivenOutAgainRightAway) {
    vx_context first = vxCreateContext();
    vx_context stale = first;
    vxReleaseContext(&first);
    vx_context second = vxCreateContext();
    EXPECT_NE(second, stale);
    EXPECT_EQ(vxReleaseContext(&stale), VX_FAILURE);
    EXPECT_EQ(vxReleaseContext(&second), VX_SUCCESS);
}

TEST_F(NpuHandles, GoWithTheirContext) {
    vx_context context = vxCreateContext();
    const ModelPair pair = convolutionModel().build();
    const NetModel net = loadModel(pair.net);
    const NetModel blobs = loadModel(pair.blobs);
    vx_graph graph = CreateNetGraph(context, net, blobs, 0x7fffffff, -1);
    const vx_device_memory memory = vxAllocateDeviceMemory(context, 16);
    const NetTensorMemory tensorMemory = AllocateTensorDeviceMemory(context, kDims, 1);
    vx_tensor tensor = CreateTensorFromHandle(context, kDims, 1, tensorMemory);
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
    EXPECT_EQ(vxReleaseGraph(&graph), VX_FAILURE);
    EXPECT_EQ(vxReleaseTensor(&tensor), VX_FAILURE);
    EXPECT_EQ(vxGetDeviceMemoryPhysicalAddress(memory), 0U);
    EXPECT_EQ(UnLoadNetModel(net), VX_SUCCESS);
    EXPECT_EQ(UnLoadNetModel(blobs), VX_SUCCESS);
}

TEST_F(NpuHandles, BelongToTheirOwnContext) {
    vx_context own = vxCreateContext();
    vx_context other = vxCreateContext();
    const vx_device_memory memory = vxAllocateDeviceMemory(own, 16);
    const NetTensorMemory tensorMemory = AllocateTensorDeviceMemory(own, kDims, 1);
    EXPECT_EQ(vxFreeDeviceMemory(other, memory), VX_FAILURE);
    EXPECT_EQ(vxFreeDeviceMemory(other, tensorMemory), VX_FAILURE);
    EXPECT_EQ(CreateTensorFromHandle(other, kDims, 1, tensorMemory), nullptr);
    EXPECT_EQ(vxFreeDeviceMemory(own, memory), VX_SUCCESS);
    EXPECT_EQ(vxFreeDeviceMemory(own, tensorMemory), VX_SUCCESS);
    vxReleaseContext(&own);
    vxReleaseContext(&other);
}

TEST_F(NpuHandles, KnowOneSetOfKernels) {
    vx_context context = vxCreateContext();
    EXPECT_EQ(vxLoadKernels(context, "openvx-nn"), VX_SUCCESS);
    EXPECT_EQ(vxLoadKernels(context, "openvx"), VX_FAILURE);
    EXPECT_EQ(vxLoadKernels(context, nullptr), VX_FAILURE);
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
}

TEST_F(NpuHandles, AreNotMadeOfImpossibleTensors) {
    vx_context context = vxCreateContext();
    const std::uint32_t empty[3] = {4, 0, 1};
    const std::uint32_t huge[3] = {0xffffffff, 0xffffffff, 0xffffffff};
    EXPECT_EQ(AllocateTensorDeviceMemory(context, empty, 1), nullptr);
    EXPECT_EQ(AllocateTensorDeviceMemory(context, huge, 1), nullptr);
    EXPECT_EQ(AllocateTensorDeviceMemory(context, kDims, 4), nullptr);
    EXPECT_EQ(AllocateTensorDeviceMemory(context, nullptr, 1), nullptr);
    const NetTensorMemory memory = AllocateTensorDeviceMemory(context, kDims, 1);
    const std::uint32_t larger[3] = {4, 4, 1};
    EXPECT_EQ(CreateTensorFromHandle(context, larger, 1, memory), nullptr);
    EXPECT_EQ(CreateTensorFromHandle(context, kDims, 2, memory), nullptr);
    EXPECT_EQ(CreateTensorFromHandle(context, nullptr, 1, memory), nullptr);
    EXPECT_EQ(vxFreeDeviceMemory(context, memory), VX_SUCCESS);
    EXPECT_EQ(vxAllocateDeviceMemory(context, 0), nullptr);
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
}

TEST_F(NpuHandles, FlushOnlyDeviceMemory) {
    vx_context context = vxCreateContext();
    const vx_device_memory memory = vxAllocateDeviceMemory(context, 24);
    auto* bytes = static_cast<std::uint8_t*>(vxGetDeviceMemoryVirtualAddress(memory));
    EXPECT_EQ(vxFlushDeviceMemoryCache(context, bytes, 24), VX_SUCCESS);
    EXPECT_EQ(vxFlushDeviceMemoryCache(context, bytes + 8, 16), VX_SUCCESS);
    EXPECT_EQ(vxFlushDeviceMemoryCache(context, bytes, 25), VX_FAILURE);
    std::uint8_t local = 0;
    EXPECT_EQ(vxFlushDeviceMemoryCache(context, &local, 1), VX_FAILURE);
    EXPECT_EQ(vxFreeDeviceMemory(context, memory), VX_SUCCESS);
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
}

TEST_F(NpuHandles, AreNotGivenForEmptyModelFiles) {
    std::uint32_t flag = 1;
    NetModel model = invented<NetModel>(1);
    EXPECT_EQ(LoadNetModelFromMem(nullptr, 10, &flag, &model), VX_FAILURE);
    EXPECT_EQ(model, nullptr);
    EXPECT_EQ(LoadNetModelFromMem("x", 0, &flag, &model), VX_FAILURE);
    EXPECT_EQ(LoadNetModelFromMem("x", 1, nullptr, &model), VX_FAILURE);
    flag = 0;
    EXPECT_EQ(LoadNetModelFromMem("x", 1, &flag, &model), VX_FAILURE);
    flag = 1;
    EXPECT_EQ(LoadNetModelFromMem("x", 1, &flag, nullptr), VX_FAILURE);
}

TEST_F(NpuHandles, OfModelsDoNotNeedTheCallersBuffer) {
    std::string net = convolutionModel().build().net;
    const NetModel model = loadModel(net);
    std::fill(net.begin(), net.end(), '\0');
    NetInputBlobList inputs = {nullptr, 0};
    EXPECT_EQ(GetNetInputBlobs(model, &inputs), VX_SUCCESS);
    EXPECT_EQ(UnLoadNetModel(model), VX_SUCCESS);
}

TEST_F(NpuHandles, OfGraphsNeedBothModels) {
    vx_context context = vxCreateContext();
    const NetModel model = loadModel("x");
    EXPECT_EQ(CreateNetGraph(context, model, nullptr, 0x7fffffff, -1), nullptr);
    EXPECT_EQ(CreateNetGraph(context, nullptr, model, 0x7fffffff, -1), nullptr);
    EXPECT_EQ(UnLoadNetModel(model), VX_SUCCESS);
    EXPECT_EQ(CreateNetGraph(context, model, model, 0x7fffffff, -1), nullptr);
    EXPECT_EQ(vxReleaseContext(&context), VX_SUCCESS);
}

TEST_F(NpuHandles, KeepInputRecordsAliveWithTheirGraph) {
    NpuSession session(convolutionModel().build());  // has let go of its models
    EXPECT_STREQ(session.inputs.records[0].name, "image");
    session.inputs.records[0].tensor = session.image;
}

TEST_F(NpuHandles, SurviveManyRoundsWithoutALeak) {
    const ModelPair pair = convolutionModel().build();
    for (int round = 0; round < 20; ++round) {
        NpuSession session(pair);
        session.run(std::vector<std::uint8_t>(16, 9));
    }
}

}  // namespace
}  // namespace brairu::test
