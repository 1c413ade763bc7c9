#pragma once

#include <cstdint>
#include <opencv2/dnn.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "onnx/model.h"

namespace brairu::npu {

/// One output of a run: signed bytes and their dimensions as width, height, channels, batch.
struct OutputBytes {
    std::vector<std::uint8_t> data;
    std::uint32_t dims[4] = {1, 1, 1, 1};
};

/// A checked network, ready to run. Building it merges weights and description, and makes one
/// trial run, so that whatever the engine cannot do shows before the first frame.
class InferenceNet {
public:
    /// Throws Refusal or the engine's own exception.
    InferenceNet(Model model, std::string_view blobs);

    std::size_t inputCount() const { return inputs_.size(); }
    std::size_t inputBytes(std::size_t input) const { return inputs_[input].bytes; }

    /// pixels[i] are the bytes of input i, channel planes one after another.
    void run(const std::vector<const std::uint8_t*>& pixels);
    const std::vector<OutputBytes>& outputs() const { return outputs_; }
    /// The names as reported to the caller.
    const std::vector<std::string>& outputNames() const { return reportedNames_; }

private:
    struct Input {
        std::string name;
        std::vector<int> dims;
        std::size_t bytes = 0;
    };

    void describe(const Model& model);
    void tryOut();

    cv::dnn::Net net_;
    std::vector<Input> inputs_;
    std::vector<cv::String> outputNames_;
    std::vector<std::string> reportedNames_;
    std::vector<Dims> outputDims_;
    std::vector<OutputBytes> outputs_;
};

}  // namespace brairu::npu
