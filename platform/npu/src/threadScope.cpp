#include "threadScope.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <opencv2/core/utility.hpp>

namespace brairu::npu {

namespace {

constexpr int kThreadsMax = 256;

std::mutex scopesMutex;
int scopesAlive = 0;
int hostThreads = 0;

int threadsOfEnvironment() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): hosts set their environment before they start threads
    static const int threads = wantedThreads(std::getenv("BRAIRU_NPU_THREADS"));
    return threads;
}

}  // namespace

int wantedThreads(const char* text) {
    if (text == nullptr)
        return 1;
    int threads = 1;
    const char* end = text + std::strlen(text);
    const auto result = std::from_chars(text, end, threads);
    const bool usable = result.ptr == end && threads >= 0 && threads <= kThreadsMax;
    return usable ? threads : 1;
}

ThreadScope::ThreadScope() : ThreadScope(threadsOfEnvironment()) {}

ThreadScope::ThreadScope(int threads) {
    const std::lock_guard lock(scopesMutex);
    if (scopesAlive++ > 0)
        return;
    hostThreads = cv::getNumThreads();
    if (threads > 0 && threads != hostThreads)
        cv::setNumThreads(threads);
}

ThreadScope::~ThreadScope() {
    const std::lock_guard lock(scopesMutex);
    if (--scopesAlive > 0)
        return;
    if (cv::getNumThreads() != hostThreads)
        cv::setNumThreads(hostThreads);
}

}  // namespace brairu::npu
