#include "store/changeNote.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "utils/fileDescriptor.h"
#include "utils/folderSync.h"

namespace brairu {
namespace {

constexpr mode_t kFileMode = 0666;

}  // namespace

ChangeNote::ChangeNote(std::string path) : path_(std::move(path)), found_(isThere()) {}

bool ChangeNote::isThere() const {
    return ::access(path_.c_str(), F_OK) == 0 || errno != ENOENT;
}

// A note that was found need not be on the disk yet: its process may have been killed before. One
// that was left may be gone: another process found the cache to be right.
bool ChangeNote::leave() {
    if (left_ && isThere()) {
        return true;
    }
    const FileDescriptor fd(offStandardStreams(
        ::open(path_.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, kFileMode)));
    left_ = fd.isOpen() && ::fsync(fd.get()) == 0 && syncFolderOf(path_);
    return left_;
}

void ChangeNote::withdraw() {
    if (::unlink(path_.c_str()) == 0) {
        found_ = false;
        left_ = false;
    }
}

}  // namespace brairu
