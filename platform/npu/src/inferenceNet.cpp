#include "inferenceNet.h"

#include <algorithm>
#include <utility>

#include "onnx/graphCheck.h"
#include "onnx/modelWriter.h"
#include "onnx/outputName.h"
#include "onnx/refusal.h"
#include "onnx/weights.h"
#include "threadScope.h"

namespace brairu::npu {

namespace {

constexpr std::uint8_t kTrialGrey = 128;

cv::dnn::Net load(Model& model, std::string_view blobs) {
    attachWeights(model, blobs);
    checkGraph(model);
    const std::string merged = writeModel(model);
    cv::dnn::Net net = cv::dnn::readNetFromONNX(merged.data(), merged.size());
    net.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
    net.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
    return net;
}

OutputBytes toBytes(const cv::Mat& output) {
    OutputBytes bytes;
    bytes.data.assign(output.data, output.data + output.total());
    for (int i = 0; i < output.dims; ++i) {
        bytes.dims[i] = static_cast<std::uint32_t>(output.size[output.dims - 1 - i]);
    }
    return bytes;
}

void requireShape(const cv::Mat& output, const Dims& dims) {
    require(output.type() == CV_8S && output.isContinuous(), "an output is not of signed bytes");
    const bool same =
        std::equal(dims.begin(), dims.end(), output.size.p, output.size.p + output.dims);
    require(same, "an output is not shaped as declared");
}

}  // namespace

InferenceNet::InferenceNet(Model model, std::string_view blobs) : net_(load(model, blobs)) {
    describe(model);
    tryOut();
}

void InferenceNet::describe(const Model& model) {
    for (const ValueInfo& input : model.inputs) {
        const std::vector<int> dims(input.dims.begin(), input.dims.end());
        const std::int64_t bytes = input.dims[1] * input.dims[2] * input.dims[3];
        inputs_.push_back({std::string(input.name), dims, static_cast<std::size_t>(bytes)});
    }
    for (const ValueInfo& output : model.outputs) {
        outputNames_.emplace_back(output.name);
        reportedNames_.emplace_back(reportedName(output.name));
        outputDims_.push_back(output.dims);
    }
}

void InferenceNet::tryOut() {
    std::vector<std::vector<std::uint8_t>> images;
    std::vector<const std::uint8_t*> pixels;
    for (const Input& input : inputs_)
        images.emplace_back(input.bytes, kTrialGrey);
    pixels.reserve(images.size());
    for (const auto& image : images)
        pixels.push_back(image.data());
    run(pixels);
    outputs_.clear();
}

void InferenceNet::run(const std::vector<const std::uint8_t*>& pixels) {
    const ThreadScope threads;
    outputs_.clear();
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        // The engine only reads the image; cv::Mat has no view of constant bytes.
        auto* bytes = const_cast<std::uint8_t*>(pixels[i]);
        net_.setInput(cv::Mat(inputs_[i].dims, CV_8U, bytes), inputs_[i].name);
    }
    std::vector<cv::Mat> results;
    net_.forward(results, outputNames_);
    for (std::size_t i = 0; i < results.size(); ++i)
        requireShape(results[i], outputDims_.at(i));
    std::transform(results.begin(), results.end(), std::back_inserter(outputs_), toBytes);
}

}  // namespace brairu::npu
