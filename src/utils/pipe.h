#pragma once

#include <filesystem>
#include <string>
#include <system_error>

namespace brairu {

// Whether there is a pipe at path: to open it could wait for ever for the other end.
inline bool isPipe(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_fifo(path, ignored);
}

}  // namespace brairu
