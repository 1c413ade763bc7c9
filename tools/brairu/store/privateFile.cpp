#include "store/privateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "fault.h"
#include "utils/folderSync.h"
#include "utils/writeAll.h"

namespace brairu::tool {
namespace {

bool isTaken(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::symlink_status(path, ignored).type() !=
           std::filesystem::file_type::not_found;
}

// Some file systems cannot refuse to replace a file.
int renameToNew(const char* from, const char* to) {
    const int result = ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
    const bool unknown = result != 0 && (errno == EINVAL || errno == ENOSYS);
    return unknown ? std::rename(from, to) : result;
}

}  // namespace

PrivateFile::PrivateFile(std::string path) : path_(std::move(path)) {
    if (isTaken(path_)) {
        throw InputFault(path_ + " is there already", "Name a new file: none is replaced.");
    }
    std::string name = workingPathOf(path_) + "XXXXXX";
    fd_.reset(::mkostemp(name.data(), O_CLOEXEC));  // for its owner alone
    if (!fd_.isOpen()) {
        fail("cannot be made");
    }
    workingPath_ = std::move(name);
}

PrivateFile::~PrivateFile() {
    if (!workingPath_.empty()) {
        ::unlink(workingPath_.c_str());
    }
}

void PrivateFile::fail(const std::string& what) const {
    throw InputFault(path_ + " " + what + ": " + std::generic_category().message(errno),
                     "Look for a missing folder, a full disk, or missing rights.");
}

void PrivateFile::write(std::string_view text) {
    if (!writeAll(fd_.get(), text)) {
        fail("cannot be written");
    }
}

void PrivateFile::keep() {
    if (::fsync(fd_.get()) != 0 || renameToNew(workingPath_.c_str(), path_.c_str()) != 0) {
        fail("cannot be written");
    }
    workingPath_.clear();
    syncFolderOf(path_);
}

}  // namespace brairu::tool
