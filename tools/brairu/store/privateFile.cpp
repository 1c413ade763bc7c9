#include "store/privateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "engine/enrolledPalms.h"
#include "fault.h"
#include "namedFile.h"
#include "utils/folderSync.h"
#include "utils/writeAll.h"

namespace brairu::tool {
namespace {

constexpr std::string_view kWorkingEnding = ".partial";

// Some file systems cannot refuse to replace a file.
int renameToNew(const char* from, const char* to) {
    const int result = ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
    const bool unknown = result != 0 && (errno == EINVAL || errno == ENOSYS);
    return unknown ? std::rename(from, to) : result;
}

}  // namespace

PrivateFile::PrivateFile(std::string path, Before before) : path_(std::move(path)) {
    requireFree(path_, "Name a new file: none is replaced.");
    if (before == Before::named || !openNameless()) {
        openNamed();
    }
}

PrivateFile::~PrivateFile() {
    if (isNamed_) {
        ::unlink(workingPath_.c_str());
    }
}

// Its name will be a link to what the system shows of the descriptor.
bool PrivateFile::openNameless() {
    constexpr mode_t kOwnerAlone = 0600;
    fd_.reset(::open(folderOf(path_).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kOwnerAlone));
    workingPath_ = "/proc/self/fd/" + std::to_string(fd_.get());
    return fd_.isOpen() && ::access(workingPath_.c_str(), F_OK) == 0;
}

void PrivateFile::openNamed() {
    workingPath_ = path_ + std::string(kWorkingEnding) + "XXXXXX";
    fd_.reset(::mkostemp(workingPath_.data(), O_CLOEXEC));  // for its owner alone
    isNamed_ = fd_.isOpen();
    if (!isNamed_) {
        fail("cannot be made");
    }
}

std::vector<std::string> PrivateFile::workingFilesOf(const std::string& path) {
    const std::filesystem::path file(path);
    const std::string start = file.filename().string() + std::string(kWorkingEnding);
    std::vector<std::string> found;
    std::error_code fault;
    for (std::filesystem::directory_iterator entry(folderOf(path), fault), end;
         !fault && entry != end; entry.increment(fault)) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with(start)) {
            found.push_back((file.parent_path() / name).string());
        }
    }
    std::ranges::sort(found);
    return found;
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

bool PrivateFile::takeName() const {
    return isNamed_ ? renameToNew(workingPath_.c_str(), path_.c_str()) == 0
                    : ::linkat(AT_FDCWD, workingPath_.c_str(), AT_FDCWD, path_.c_str(),
                               AT_SYMLINK_FOLLOW) == 0;
}

void PrivateFile::keep() {
    if (::fsync(fd_.get()) != 0 || !takeName()) {
        fail("cannot be written");
    }
    isNamed_ = false;
    syncFolderOf(path_);
}

}  // namespace brairu::tool
