#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace brairu {

// Owns one open file descriptor.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(std::exchange(other.fd_, -1));
        return *this;
    }

    bool isOpen() const { return fd_ >= 0; }
    int get() const { return fd_; }
    // It is the caller's to close.
    int release() { return std::exchange(fd_, -1); }

    // Closes what is held and holds fd instead. The result of the close; 0 if nothing was held.
    int reset(int fd = -1) {
        const int closed = isOpen() ? ::close(fd_) : 0;
        fd_ = fd;
        return closed;
    }

private:
    int fd_;
};

// The descriptor itself, or a copy in its place if it is one of the three standard ones: what
// anybody prints would go into the file where a host runs with these closed. Negative, with errno,
// for one that is not open or cannot be copied.
inline int offStandardStreams(int fd) {
    if (fd < 0 || fd > STDERR_FILENO) {
        return fd;
    }
    const FileDescriptor standard(fd);
    return ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

}  // namespace brairu
