#include "frames/frameOptions.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>

#include "fault.h"
#include "frames/camera.h"
#include "frames/frameFile.h"
#include "frames/video.h"
#include "namedFile.h"

namespace brairu::tool {
namespace {

using Path = std::filesystem::path;

class OneFrame : public FrameSource {
public:
    OneFrame(Path path, std::optional<cv::Size> rawSize)
        : path_(std::move(path)), rawSize_(rawSize) {}

    std::optional<Frame> next() override {
        if (path_.empty()) {
            return std::nullopt;
        }
        return readFrame(std::exchange(path_, {}), rawSize_);
    }

private:
    Path path_;
    std::optional<cv::Size> rawSize_;
};

// Sources that are opened when their turn comes.
class FramesInTurn : public FrameSource {
public:
    FramesInTurn(std::vector<Path> paths, std::optional<cv::Size> rawSize)
        : paths_(std::move(paths)), rawSize_(rawSize) {}

    std::optional<Frame> next() override {
        for (;;) {
            if (current_) {
                if (std::optional<Frame> frame = current_->next()) {
                    return frame;
                }
            }
            if (turn_ == paths_.size()) {
                return std::nullopt;
            }
            current_ = open(paths_[turn_++]);
        }
    }

    std::optional<std::size_t> count() const override {
        return std::ranges::any_of(paths_, isVideoName) ? std::nullopt
                                                        : std::optional(paths_.size());
    }

    std::vector<std::string> files() const override { return {paths_.begin(), paths_.end()}; }

private:
    std::unique_ptr<FrameSource> open(const Path& path) const {
        if (isVideoName(path)) {
            return openVideo(path.string());
        }
        return std::make_unique<OneFrame>(path, rawSize_);
    }

    std::vector<Path> paths_;
    std::optional<cv::Size> rawSize_;
    std::size_t turn_ = 0;
    std::unique_ptr<FrameSource> current_;
};

bool isFrameName(const Path& path) {
    return isPictureName(path) || isRawName(path);
}

std::vector<Path> framesIn(const Path& folder) {
    std::vector<Path> paths;
    std::error_code fault;
    for (const auto& entry : std::filesystem::directory_iterator(folder, fault)) {
        if (entry.is_regular_file(fault) && isFrameName(entry.path())) {
            paths.push_back(entry.path());
        }
    }
    if (paths.empty()) {
        throw InputFault(folder.string() + " holds no frames",
                         "Put pictures (png, jpeg, pgm, ...) or raw planes into it.");
    }
    std::ranges::sort(paths);
    return paths;
}

void addPaths(std::vector<Path>& all, const Path& path) {
    requireReadable(path);
    if (!std::filesystem::is_directory(path)) {
        all.push_back(path);
        return;
    }
    const std::vector<Path> inside = framesIn(path);
    all.insert(all.end(), inside.begin(), inside.end());
}

// What FRAME arguments may be.
constexpr char kFrameHelp[] =
    "Pictures (png, jpeg, pgm, ...), raw planes of grey with --size, folders of these in the order "
    "of their names, and videos (where ffmpeg is installed)";

}  // namespace

std::optional<cv::Size> FrameOptions::rawSize() const {
    return size.empty() ? std::nullopt : std::optional(sizeFrom(size));
}

void addSizeOption(CLI::App& command, FrameOptions& options) {
    command.add_option("--size", options.size, "Size of raw planes, like 640x480")
        ->type_name("WxH");
}

std::string cameraHelp(const std::string& offer) {
    return readsCameras() ? offer + " (/dev/video0, or its number; --size asks it for a size)"
                          : "; no camera: this build was made without libv4l2";
}

void addFrameOptions(CLI::App& command, FrameOptions& options, const std::string& others) {
    command.add_option("frames", options.paths, kFrameHelp + others)
        ->required()
        ->type_name("FRAME");
    addSizeOption(command, options);
}

std::unique_ptr<FrameSource> openFrames(const FrameOptions& options) {
    std::vector<Path> paths;
    for (const std::string& path : options.paths) {
        addPaths(paths, path);
    }
    return std::make_unique<FramesInTurn>(std::move(paths), options.rawSize());
}

}  // namespace brairu::tool
