// A folder that a camera or another program fills with frames.
#pragma once

#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <set>

#include "frames/frame.h"

namespace brairu::tool {

class GrowingFolder : public FrameSource {
public:
    // idle: how long to wait for a new frame; zero for ever. isStopped is asked while waiting.
    GrowingFolder(std::filesystem::path folder, std::optional<cv::Size> rawSize,
                  std::chrono::milliseconds idle, std::function<bool()> isStopped);

    // The frames that are there in the order of their names, then each as it comes, once it is no
    // longer written to. Nothing when none came for the idle time, or when stopped.
    std::optional<Frame> next() override;

private:
    void collect();
    bool waitForFile();

    std::filesystem::path folder_;
    std::optional<cv::Size> rawSize_;
    std::chrono::milliseconds idle_;
    std::function<bool()> isStopped_;
    std::set<std::filesystem::path> seen_;
    std::deque<std::filesystem::path> waiting_;
};

}  // namespace brairu::tool
