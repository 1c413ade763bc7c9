#include "graph.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace brairu::npu {

namespace {

NetOutputBlob outputRecordOf(const std::string& name) {
    NetOutputBlob record = {};
    name.copy(record.name, sizeof record.name - 1);
    return record;
}

}  // namespace

std::string_view nameOf(const NetInputBlob& record) {
    return {record.name, strnlen(record.name, sizeof record.name)};
}

Graph::Graph(std::shared_ptr<LoadedModel> net, std::shared_ptr<LoadedModel> blobs)
    : net_(std::move(net)), blobs_(std::move(blobs)) {}

bool Graph::verify() {
    const std::shared_ptr<LoadedModel> net = std::move(net_);
    const std::shared_ptr<LoadedModel> blobs = std::move(blobs_);
    if (net != nullptr)
        build(*net, *blobs);
    return runnable_ != nullptr;
}

void Graph::build(LoadedModel& net, const LoadedModel& blobs) {
    inputs_ = net.inputRecords();
    runnable_ = std::make_unique<InferenceNet>(net.description(), blobs.bytes());
    bound_.resize(inputs_->size());
    for (const std::string& name : runnable_->outputNames()) {
        outputRecords.push_back(outputRecordOf(name));
    }
}

bool Graph::bind(std::string_view input, const std::shared_ptr<Tensor>& tensor) {
    if (runnable_ == nullptr)
        return false;
    const auto found = std::find_if(inputs_->begin(), inputs_->end(),
                                    [input](const auto& i) { return nameOf(i) == input; });
    if (found == inputs_->end())
        return false;
    const auto index = static_cast<std::size_t>(found - inputs_->begin());
    if (!fits(index, *tensor))
        return false;
    bound_[index] = tensor;
    return true;
}

bool Graph::fits(std::size_t input, const Tensor& tensor) const {
    return std::equal(std::begin((*inputs_)[input].dims), std::end((*inputs_)[input].dims),
                      tensor.dims().begin());
}

bool Graph::run() {
    if (runnable_ == nullptr)
        return false;
    std::vector<std::shared_ptr<std::uint8_t>> images;
    std::vector<const std::uint8_t*> pixels;
    for (const std::weak_ptr<Tensor>& bound : bound_) {
        const std::shared_ptr<Tensor> tensor = bound.lock();
        images.push_back(tensor == nullptr ? nullptr : tensor->data());
        if (images.back() == nullptr)
            return false;
        pixels.push_back(images.back().get());
    }
    runnable_->run(pixels);
    return true;
}

bool Graph::hasResults() const {
    return runnable_ != nullptr && !runnable_->outputs().empty();
}

std::vector<std::shared_ptr<Tensor>> Graph::results() const {
    std::vector<std::shared_ptr<Tensor>> tensors;
    for (const OutputBytes& output : runnable_->outputs()) {
        tensors.push_back(std::make_shared<Tensor>(output));
    }
    return tensors;
}

}  // namespace brairu::npu
