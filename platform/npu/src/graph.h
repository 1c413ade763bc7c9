#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "inferenceNet.h"
#include "loadedModel.h"
#include "npu.h"
#include "tensor.h"

namespace brairu::npu {

/// The record's name, which a caller's copy may leave without a terminator.
std::string_view nameOf(const NetInputBlob& record);

/// A model pair on its way to being run: made, verified once, bound, run.
class Graph {
public:
    Graph(std::shared_ptr<LoadedModel> net, std::shared_ptr<LoadedModel> blobs);

    /// Whether the pair makes a network that runs. Throws the reason why not when it is found out,
    /// later calls only say so. The model files are let go of.
    bool verify();
    bool bind(std::string_view input, const std::shared_ptr<Tensor>& tensor);
    bool run();
    bool hasResults() const;
    /// The results of the last run, each a tensor of its own.
    std::vector<std::shared_ptr<Tensor>> results() const;

    /// Lists handed out to the caller, kept here for as long as they are promised to live.
    std::vector<NetOutputBlob> outputRecords;
    std::vector<vx_tensor> outputTensors;

private:
    void build(LoadedModel& net, const LoadedModel& blobs);
    bool fits(std::size_t input, const Tensor& tensor) const;

    std::shared_ptr<LoadedModel> net_;
    std::shared_ptr<LoadedModel> blobs_;
    std::shared_ptr<InputRecords> inputs_;
    std::unique_ptr<InferenceNet> runnable_;
    std::vector<std::weak_ptr<Tensor>> bound_;
};

}  // namespace brairu::npu
