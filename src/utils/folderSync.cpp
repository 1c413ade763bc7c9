#include "utils/folderSync.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>

#include "utils/fileDescriptor.h"

namespace brairu {
namespace {

std::string_view folderOf(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return ".";
    }
    return path.substr(0, std::max<std::size_t>(slash, 1));
}

}  // namespace

bool syncFolderOf(std::string_view path) noexcept {
    const std::string_view folder = folderOf(path);
    std::array<char, PATH_MAX> name{};
    if (folder.size() >= name.size()) {
        return false;
    }
    std::ranges::copy(folder, name.begin());
    const FileDescriptor fd(::open(name.data(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd.isOpen() && ::fsync(fd.get()) == 0;
}

}  // namespace brairu
