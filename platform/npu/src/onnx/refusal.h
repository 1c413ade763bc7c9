#pragma once

#include <stdexcept>
#include <string>

namespace brairu::npu {

/// Thrown for a model pair that must not reach the inference engine. what() is the reason.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline void require(bool holds, const char* reason) {
    if (!holds)
        throw Refusal(reason);
}

inline void require(bool holds, const std::string& reason) {
    if (!holds)
        throw Refusal(reason);
}

}  // namespace brairu::npu
