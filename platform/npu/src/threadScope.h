#pragma once

namespace brairu::npu {

/// While one is alive, OpenCV runs on as many threads as BRAIRU_NPU_THREADS says (1 when unset, 0
/// leaves the host's setting alone). OpenCV knows one setting for the whole process: the first
/// scope takes it over, the last one alive gives the host's own value back.
class ThreadScope {
public:
    ThreadScope();
    ~ThreadScope();
    ThreadScope(const ThreadScope&) = delete;
    ThreadScope& operator=(const ThreadScope&) = delete;
};

}  // namespace brairu::npu
