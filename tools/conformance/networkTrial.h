// One network on the stack, from its model files to its outputs and back, an operation at a time.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "networks.h"
#include "npu.h"
#include "verdict.h"

namespace brairu::conformance {

class NetworkTrial {
public:
    NetworkTrial(Journal& journal, vx_context context, const Network& network)
        : journal_(journal), context_(context), network_(network) {}

    // Up to a verified graph. False when there is no use in going on.
    bool prepare();

    // Runs the network on a picture of its input's size; empty after a fault.
    Bytes run(const Bytes& picture);

    // Gives everything back that was made.
    void release();

private:
    bool loadModels();
    NetModel load(const std::string& file, const ModelBuffer& model);
    bool takeInput();
    bool makeTensor();
    void queryInputTensor();
    bool makeFrame();
    bool makeGraph();
    void unloadModels();
    bool convert(const Bytes& picture);
    bool showsPicture(const Bytes& picture);
    bool bind();
    bool process();
    Bytes takeOutputs();
    Bytes contentOf(vx_tensor tensor);
    bool areTerminated(const NetOutputBlobList& names) const;
    std::string called(const std::string& what) const { return network_.name + ": " + what; }

    Journal& journal_;
    vx_context context_;
    const Network& network_;
    NetModel net_ = nullptr;
    NetModel blobs_ = nullptr;
    NetInputBlob input_{};
    NetTensorMemory tensorMemory_ = nullptr;
    vx_tensor tensor_ = nullptr;
    vx_device_memory frameMemory_ = nullptr;
    std::uint32_t framePhysical_ = 0;
    std::span<std::uint8_t> frame_;
    vx_graph graph_ = nullptr;
};

// The address of a tensor's data, null when the stack does not tell. Asks like the library: for as
// many bytes as a pointer has.
std::uint8_t* dataOf(vx_tensor tensor);

}  // namespace brairu::conformance
