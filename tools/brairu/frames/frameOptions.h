// The frames that a command line names.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "frames/frame.h"

namespace CLI {
class App;
}

namespace brairu::tool {

struct FrameOptions {
    std::vector<std::string> paths;
    std::string size;  // of raw planes, or empty

    std::optional<cv::Size> rawSize() const;
};

// Adds --size and the positional FRAME... of a command. others: what else it may be, as help.
void addFrameOptions(CLI::App& command, FrameOptions& options, const std::string& others = {});
void addSizeOption(CLI::App& command, FrameOptions& options);

// Help on a camera as a source of frames: the offer and how to name one, or why there is none.
std::string cameraHelp(const std::string& offer);

// The frames of files, of folders in the order of their names, and of videos, as they stand on the
// command line. Throws InputFault for what is not there, before the first frame.
std::unique_ptr<FrameSource> openFrames(const FrameOptions& options);

}  // namespace brairu::tool
