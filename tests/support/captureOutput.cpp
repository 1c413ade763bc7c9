#include "support/captureOutput.h"

#include <gtest/gtest.h>

#include <iostream>

namespace brairu::test {

std::string stdoutOf(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    std::cout.flush();
    return testing::internal::GetCapturedStdout();
}

std::string stderrOf(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    action();
    std::cerr.flush();
    return testing::internal::GetCapturedStderr();
}

}  // namespace brairu::test
