// One network on the NPU: prepared once from its model pair, then run on frames.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "npu.h"
#include "npu/modelFile.h"
#include "utils/frameSize.h"

namespace brairu {

// Where a non-zero status of the NPU stack goes: one line on standard output that names the owner's
// source file and the line of the check, and, for fatal ones, the end of the process with exit
// status 1.
class NpuFaults {
public:
    explicit NpuFaults(const char* sourceFile) : sourceFile_(sourceFile) {}

    void require(vx_status status, int line = __builtin_LINE()) const;
    void report(vx_status status, int line = __builtin_LINE()) const;

private:
    const char* sourceFile_;
};

// The outputs of one run, released when they go. data is that of the last tensor; it and the name
// are valid as long as this object.
class NetOutputs {
public:
    NetOutputs(const NpuFaults& faults, vx_graph graph);
    ~NetOutputs();
    NetOutputs(const NetOutputs&) = delete;
    NetOutputs& operator=(const NetOutputs&) = delete;

    std::string_view firstName() const;
    std::span<const std::uint8_t> data() const { return data_; }
    const std::array<std::uint32_t, 4>& dims() const { return dims_; }

private:
    void queryLastTensor();

    const NpuFaults& faults_;
    NetOutputBlobList names_{};
    NetTensorList tensors_{};
    std::array<std::uint32_t, 4> dims_{};
    std::span<const std::uint8_t> data_;
};

class NetRuntime {
public:
    // sourceFile is what fault lines name.
    explicit NetRuntime(const char* sourceFile) : faults_(sourceFile) {}
    ~NetRuntime() = default;
    NetRuntime(const NetRuntime&) = delete;
    NetRuntime& operator=(const NetRuntime&) = delete;

    // Hands both models to the stack and frees their buffers.
    void loadModels(ModelPair models);

    // Builds and verifies the graph, its input tensor and its frame memory. Ends the process on any
    // fault.
    void prepare(FrameSize frame);

    // Runs the network on a 4:2:0 frame; at most the bytes of the prepared frame size are taken.
    // Ends the process on any fault. One run at a time; its outputs go before the next.
    NetOutputs run(std::span<const std::uint8_t> frame);

    // Gives everything back. Faults are reported and survived.
    void teardown();

    FrameSize frameSize() const { return frame_; }

private:
    struct ModelRelease {
        const NpuFaults* faults;
        void operator()(NetModel model) const;
    };
    struct ContextRelease {
        const NpuFaults* faults;
        void operator()(vx_context context) const;
    };
    struct GraphRelease {
        const NpuFaults* faults;
        void operator()(vx_graph graph) const;
    };
    struct MemoryRelease {
        const NpuFaults* faults;
        vx_context context;
        void operator()(void* memory) const;
    };
    struct TensorRelease {
        const NpuFaults* faults;
        void operator()(vx_tensor tensor) const;
    };

    using Model = std::unique_ptr<NpuNetModel, ModelRelease>;

    Model loadModel(const ModelBuffer& buffer) const;
    void unload(Model& model) const;
    void createContext();
    void takeInputRecord();
    void createInputTensor();
    void allocateFrame();
    void createGraph();
    NpuImageDescriptor imageDescriptor() const;

    NpuFaults faults_;
    Model netModel_;
    Model blobsModel_;
    FrameSize frame_;
    std::uint32_t frameBytes_ = 0;
    std::uint32_t framePhysical_ = 0;
    std::uint8_t* frameVirtual_ = nullptr;
    NetInputBlob input_{};
    // In the reverse order of their release.
    std::unique_ptr<NpuContext, ContextRelease> context_;
    std::unique_ptr<NpuGraph, GraphRelease> graph_;
    std::unique_ptr<NpuDeviceMemory, MemoryRelease> frameMemory_;
    std::unique_ptr<NpuTensor, TensorRelease> imageTensor_;
    std::unique_ptr<NpuTensorMemory, MemoryRelease> imageHandle_;
};

}  // namespace brairu
