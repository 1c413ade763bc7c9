#include "examination/fileExamination.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace brairu::tool {

namespace {

constexpr char kBecomeOwner[] = "Run as the user that owns it, or change its rights.";

Finding unseenFile(const std::string& area, const std::string& path, int error) {
    const std::string why = std::generic_category().message(error);
    if (error == EACCES) {
        return {Level::fault, area, path + " cannot be looked at: " + why, kBecomeOwner};
    }
    return {Level::fault, area, path + " is not there: " + why,
            "Check the path" + startOf(path) + "."};
}

}  // namespace

Findings examineFile(const std::string& area, const std::string& path, bool secret) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return {unseenFile(area, path, errno)};
    }
    if (!S_ISREG(status.st_mode)) {
        return {{Level::fault, area, path + " is no file", "Check the path" + startOf(path) + "."}};
    }
    if (::access(path.c_str(), R_OK) != 0) {
        return {{Level::fault, area,
                 path + " cannot be read: " + std::generic_category().message(errno),
                 kBecomeOwner}};
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return {{Level::warning, area, path + " can be changed by other users",
                 "Whoever changes it decides who gets in: chmod go-w " + path}};
    }
    if (secret && (status.st_mode & (S_IRGRP | S_IROTH)) != 0) {
        return {{Level::note, area, path + " can be read by other users",
                 "It holds templates in the clear: on a product, chmod go= " + path +
                     " and run the host with umask 077."}};
    }
    return {};
}

Findings examineFolder(const std::string& area, const std::string& path) {
    struct stat status {};
    const bool known = ::stat(path.c_str(), &status) == 0;
    if (!known || (status.st_mode & S_IWOTH) == 0) {
        return {};
    }
    return {{Level::warning, area, "everybody can put files into the folder " + path,
             "Whoever replaces the database decides who gets in: chmod go-w " + path}};
}

std::string startOf(const std::string& path) {
    std::error_code ignored;
    return path.starts_with('/')
               ? ""
               : "; relative ones start at " + std::filesystem::current_path(ignored).string();
}

}  // namespace brairu::tool
