// A new file that only its owner may read: templates are biometric data.
#pragma once

#include <string>
#include <string_view>

#include "utils/fileDescriptor.h"

namespace brairu::tool {

// Has a working name until it is whole and on the disk, so that no half of it is ever taken for
// all.
class PrivateFile {
public:
    // Throws InputFault if there is such a file already, or if none can be made.
    explicit PrivateFile(std::string path);
    // Removes what was not kept.
    ~PrivateFile();
    PrivateFile(const PrivateFile&) = delete;
    PrivateFile& operator=(const PrivateFile&) = delete;

    // Where others write the content to.
    const std::string& workingPath() const { return workingPath_; }
    // How the working names of a file begin: each has one of its own.
    static std::string workingPathOf(const std::string& path) { return path + ".partial"; }

    // Throws InputFault.
    void write(std::string_view text);

    // Waits for the disk and gives the file its name. Throws InputFault.
    void keep();

private:
    [[noreturn]] void fail(const std::string& what) const;

    std::string path_;
    std::string workingPath_;
    FileDescriptor fd_;
};

}  // namespace brairu::tool
