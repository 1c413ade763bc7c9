#include "frames/growingFolder.h"

#include <thread>
#include <utility>

#include "frames/frameFile.h"

namespace brairu::tool {
namespace {

using Path = std::filesystem::path;
using namespace std::chrono_literals;

constexpr auto kPause = 20ms;
constexpr auto kAtRest = 100ms;

// A file that was just changed may still be written to.
bool isAtRest(const Path& path) {
    std::error_code fault;
    const auto changed = std::filesystem::last_write_time(path, fault);
    const auto age = std::filesystem::file_time_type::clock::now() - changed;
    return fault || age >= kAtRest || age < 0s;
}

}  // namespace

GrowingFolder::GrowingFolder(Path folder, std::optional<cv::Size> rawSize,
                             std::chrono::milliseconds idle, std::function<bool()> isStopped)
    : folder_(std::move(folder)),
      rawSize_(rawSize),
      idle_(idle),
      isStopped_(std::move(isStopped)) {}

std::optional<Frame> GrowingFolder::next() {
    if (!waitForFile()) {
        return std::nullopt;
    }
    const Path path = waiting_.front();
    waiting_.pop_front();
    return readFrame(path, rawSize_);
}

bool GrowingFolder::waitForFile() {
    const auto start = std::chrono::steady_clock::now();
    while (!isStopped_()) {
        collect();
        if (!waiting_.empty() && isAtRest(waiting_.front())) {
            return true;
        }
        if (idle_ > 0ms && std::chrono::steady_clock::now() - start >= idle_ && waiting_.empty()) {
            return false;
        }
        std::this_thread::sleep_for(kPause);
    }
    return false;
}

void GrowingFolder::collect() {
    std::set<Path> fresh;
    std::error_code fault;
    for (const auto& entry : std::filesystem::directory_iterator(folder_, fault)) {
        const Path& path = entry.path();
        if ((isPictureName(path) || isRawName(path)) && !seen_.contains(path)) {
            fresh.insert(path);
        }
    }
    waiting_.insert(waiting_.end(), fresh.begin(), fresh.end());
    seen_.merge(fresh);
}

}  // namespace brairu::tool
