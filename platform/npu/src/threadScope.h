#pragma once

namespace brairu::npu {

/// The number of threads that a text asks for; 1 without a text or for anything but 0 to 256. 0
/// leaves the host's setting alone.
int wantedThreads(const char* text);

/// While one is alive, OpenCV runs on this number of threads, by default what BRAIRU_NPU_THREADS
/// asks for. OpenCV knows one setting for the whole process: the first scope takes it over, the last
/// one alive gives the host's own value back.
class ThreadScope {
public:
    ThreadScope();
    explicit ThreadScope(int threads);
    ~ThreadScope();
    ThreadScope(const ThreadScope&) = delete;
    ThreadScope& operator=(const ThreadScope&) = delete;
};

}  // namespace brairu::npu
