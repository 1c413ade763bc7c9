#pragma once

#include <sys/stat.h>

#include <string>

namespace brairu {

// Whether there is a pipe at path: to open it could wait for ever for the other end.
inline bool isPipe(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

}  // namespace brairu
