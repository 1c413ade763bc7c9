#include "utils/fileReplacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "utils/diskFault.h"
#include "utils/fileDescriptor.h"
#include "utils/folderSync.h"
#include "utils/pipe.h"
#include "utils/writeAll.h"

namespace brairu {
namespace {

constexpr mode_t kNewFileMode = 0666;

// A regular file of one name: replaced by another, a link would no longer lead where it did.
bool isPlainFile(const std::string& path, struct stat& status) {
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

// A new file beside the one at path, with its owner and mode. It goes with the object unless it
// took the place of the other.
class Sibling {
public:
    explicit Sibling(const std::string& path);
    ~Sibling();
    Sibling(const Sibling&) = delete;
    Sibling& operator=(const Sibling&) = delete;

    bool isReady() const { return ready_; }
    bool isRefusedByDisk() const { return refusedByDisk_; }
    bool write(const std::string& text) const;
    bool takePlaceOf(const std::string& path);

private:
    bool resemble(const struct stat& original) const;
    bool belongsTo(const struct stat& original) const;

    std::string name_;
    FileDescriptor fd_;
    bool made_ = false;
    bool ready_ = false;
    bool refusedByDisk_ = false;
};

Sibling::Sibling(const std::string& path) : name_(path + ".XXXXXX") {
    struct stat original {};
    if (isPlainFile(path, original) && ::access(path.c_str(), W_OK) == 0) {
        const int made = ::mkostemp(name_.data(), O_CLOEXEC);
        made_ = made >= 0;
        fd_.reset(offStandardStreams(made));
        ready_ = fd_.isOpen() && resemble(original);
        refusedByDisk_ = !ready_ && isDiskFault(errno);
    }
}

Sibling::~Sibling() {
    if (made_) {
        ::unlink(name_.c_str());
    }
}

bool Sibling::resemble(const struct stat& original) const {
    return belongsTo(original) && ::fchmod(fd_.get(), original.st_mode & 07777) == 0;
}

// Nobody but root gives a file to a group that it is not in. The group may then be another one, if
// it has the rights that everybody has.
bool Sibling::belongsTo(const struct stat& original) const {
    const mode_t ofGroup = original.st_mode & S_IRWXG;
    const mode_t ofOthers = original.st_mode & S_IRWXO;
    return ::fchown(fd_.get(), original.st_uid, original.st_gid) == 0 ||
           (original.st_uid == ::geteuid() && ofGroup >> 3 == ofOthers);
}

bool Sibling::write(const std::string& text) const {
    return writeAll(fd_.get(), text) && ::fsync(fd_.get()) == 0;
}

bool Sibling::takePlaceOf(const std::string& path) {
    if (::rename(name_.c_str(), path.c_str()) != 0) {
        return false;
    }
    made_ = false;
    syncFolderOf(path);
    return true;
}

// True as well for what has no disk, such as a device.
bool reachesDisk(int fd) {
    return ::fsync(fd) == 0 || errno == EINVAL;
}

bool truncateAndWrite(const std::string& path, const std::string& text) {
    if (isPipe(path)) {
        return false;
    }
    const FileDescriptor fd(offStandardStreams(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFileMode)));
    return fd.isOpen() && writeAll(fd.get(), text) && reachesDisk(fd.get());
}

}  // namespace

bool replaceFile(const std::string& path, const std::string& text) {
    Sibling sibling(path);
    // A disk that cannot take the new text keeps the old one.
    if (sibling.isRefusedByDisk()) {
        return false;
    }
    if (sibling.isReady()) {
        if (!sibling.write(text)) {
            return false;
        }
        if (sibling.takePlaceOf(path)) {
            return true;
        }
        if (isDiskFault(errno)) {
            return false;
        }
    }
    return truncateAndWrite(path, text);
}

}  // namespace brairu
