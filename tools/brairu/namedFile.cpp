#include "namedFile.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "fault.h"

namespace brairu::tool {

namespace fs = std::filesystem;

void requireReadable(const fs::path& path) {
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    if (status.type() == fs::file_type::not_found) {
        throw InputFault(path.string() + " is not there", "Check the name.");
    }
    const int wanted = fs::is_directory(status) ? R_OK | X_OK : R_OK;
    if (::access(path.c_str(), wanted) != 0) {
        throw InputFault(
            path.string() + " cannot be read: " + std::generic_category().message(errno),
            "Run the command as a user that may read it, or change its rights.");
    }
}

void requireFree(const fs::path& path, const std::string& advice) {
    std::error_code ignored;
    if (fs::symlink_status(path, ignored).type() != fs::file_type::not_found) {
        throw InputFault(path.string() + " is there already", advice);
    }
}

}  // namespace brairu::tool
