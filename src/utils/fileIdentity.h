#pragma once

#include <sys/stat.h>

#include <compare>
#include <optional>
#include <string>

namespace brairu {

// What a file is told by, whatever its name.
struct FileIdentity {
    dev_t device;
    ino_t inode;

    auto operator<=>(const FileIdentity&) const = default;
};

// Of the file that a path leads to, through links; nothing, with errno, where it leads to none. By
// the system's own call: the standard library of a 32-bit system may know no file that was changed
// after January 2038.
inline std::optional<FileIdentity> fileIdentity(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0
               ? std::optional(FileIdentity{status.st_dev, status.st_ino})
               : std::nullopt;
}

// Whether two paths lead to one file.
inline bool isSameFile(const std::string& one, const std::string& other) {
    const auto identity = fileIdentity(one);
    return identity && identity == fileIdentity(other);
}

}  // namespace brairu
