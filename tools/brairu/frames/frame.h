#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

namespace brairu::tool {

struct Frame {
    std::string name;
    cv::Mat luma;  // CV_8UC1, continuous
};

// Frames one after the other.
class FrameSource {
public:
    virtual ~FrameSource() = default;

    // Nothing at the end. Throws InputFault for a frame that cannot be read.
    virtual std::optional<Frame> next() = 0;

    // How many there are in all, if that is known.
    virtual std::optional<std::size_t> count() const { return std::nullopt; }

    // The files that they are read from, as far as they are known.
    virtual std::vector<std::string> files() const { return {}; }
};

}  // namespace brairu::tool
