#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "modelBuilder.h"
#include "npu.h"

namespace brairu::test {

/// A loaded file, null when the stack does not take it.
NetModel loadModel(const std::string& bytes);

/// Makes a graph of the pair, verifies it and lets everything go again.
vx_status verifyPair(const ModelPair& pair);

struct Output {
    std::string name;
    std::uint32_t dims[4];
    std::vector<std::int8_t> values;
};

/// One network with one input, prepared and run in the order in which a host does it.
class NpuSession {
public:
    explicit NpuSession(const ModelPair& pair);
    ~NpuSession();
    NpuSession(const NpuSession&) = delete;
    NpuSession& operator=(const NpuSession&) = delete;

    /// Runs on a grey image of the input's own size.
    std::vector<Output> run(const std::vector<std::uint8_t>& luma);

    vx_context context = nullptr;
    NetInputBlobList inputs = {nullptr, 0};
    NetTensorMemory imageMemory = nullptr;
    vx_tensor image = nullptr;
    vx_device_memory frame = nullptr;
    vx_graph graph = nullptr;
    NpuImageDescriptor descriptor = {};

private:
    void describeFrame();
};

}  // namespace brairu::test
