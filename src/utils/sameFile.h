#pragma once

#include <sys/stat.h>

#include <string>

namespace brairu {

// Whether two paths lead to one file, by links or otherwise. By the system's own call: the standard
// library of a 32-bit system may know no file that was changed after January 2038.
inline bool isSameFile(const std::string& one, const std::string& other) {
    struct stat first {};
    struct stat second {};
    return ::stat(one.c_str(), &first) == 0 && ::stat(other.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace brairu
