#include "store/fileHolders.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace brairu::tool {
namespace {

using Path = std::filesystem::path;

struct WantedFile {
    dev_t device;
    ino_t inode;
    std::string path;  // without links
};
using WantedFiles = std::vector<WantedFile>;

WantedFiles wantedFiles(const std::vector<std::string>& paths) {
    WantedFiles files;
    for (const std::string& path : paths) {
        struct stat status {};
        std::error_code ignored;
        if (::stat(path.c_str(), &status) == 0) {
            files.push_back(
                {status.st_dev, status.st_ino, std::filesystem::canonical(path, ignored).string()});
        }
    }
    return files;
}

bool isWanted(const Path& link, const WantedFiles& files) {
    struct stat status {};
    return ::stat(link.c_str(), &status) == 0 &&
           std::ranges::any_of(files, [&](const WantedFile& file) {
               return file.device == status.st_dev && file.inode == status.st_ino;
           });
}

enum class View { holds, doesNot, denied };

View viewOfDescriptors(const Path& process, const WantedFiles& files) {
    std::error_code fault;
    std::filesystem::directory_iterator entry(process / "fd", fault);
    if (fault) {
        return fault == std::errc::permission_denied ? View::denied : View::doesNot;
    }
    for (; entry != std::filesystem::directory_iterator(); entry.increment(fault)) {
        if (isWanted(entry->path(), files)) {
            return View::holds;
        }
    }
    return View::doesNot;
}

// A mapping outlives its descriptor.
bool mapsAny(const Path& process, const WantedFiles& files) {
    std::ifstream maps(process / "maps");
    for (std::string line; std::getline(maps, line);) {
        for (const WantedFile& file : files) {
            if (line.ends_with(" " + file.path)) {
                return true;
            }
        }
    }
    return false;
}

std::string nameOf(const Path& process) {
    std::ifstream file(process / "comm");
    std::string name;
    std::getline(file, name);
    return name + " (" + process.filename().string() + ")";
}

bool isProcess(const Path& path) {
    const std::string name = path.filename().string();
    return std::ranges::all_of(name, [](unsigned char c) { return std::isdigit(c); }) &&
           name != std::to_string(::getpid());
}

}  // namespace

FileHolders holdersOf(const std::vector<std::string>& paths) {
    const WantedFiles files = wantedFiles(paths);
    FileHolders holders;
    std::error_code fault;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", fault)) {
        if (!isProcess(entry.path())) {
            continue;
        }
        const View view = viewOfDescriptors(entry.path(), files);
        holders.unseen += view == View::denied ? 1 : 0;
        if (view == View::holds || mapsAny(entry.path(), files)) {
            holders.processes.push_back(nameOf(entry.path()));
        }
    }
    return holders;
}

}  // namespace brairu::tool
