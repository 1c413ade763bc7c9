// The system calls that the library makes, under fault injection.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "faultInjection.h"
#include "support/interposing.h"

namespace {

using brairu::test::FaultKind;
using brairu::test::faultStrikes;
using brairu::test::liveHandles;
using brairu::test::next;

// The next call, or the error that the real one may report.
template <class Function, class... Arguments>
auto callOrFail(const char* name, int error, decltype(next<Function>(name)(Arguments()...)) failed,
                Arguments... arguments) {
    if (faultStrikes(FaultKind::systemCall, name)) {
        errno = error;
        return failed;
    }
    return next<Function>(name)(arguments...);
}

using OpenFunction = int(const char*, int, ...);

int openOrFail(const char* path, int flags, unsigned mode) {
    return callOrFail<OpenFunction>("open64", EMFILE, -1, path, flags, mode);
}

unsigned modeOf(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0;
}

}  // namespace

BRAIRU_INTERPOSED int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openOrFail(path, flags, mode);
}

BRAIRU_INTERPOSED FILE* fopen64(const char* path, const char* mode) {
    using Function = FILE*(const char*, const char*);
    return callOrFail<Function>("fopen64", EMFILE, nullptr, path, mode);
}

BRAIRU_INTERPOSED int ftruncate64(int fd, off64_t size) noexcept {
    using Function = int(int, off64_t);
    return callOrFail<Function>("ftruncate64", EIO, -1, fd, size);
}

BRAIRU_INTERPOSED int fallocate64(int fd, int mode, off64_t offset, off64_t size) {
    using Function = int(int, int, off64_t, off64_t);
    return callOrFail<Function>("fallocate64", ENOSPC, -1, fd, mode, offset, size);
}

BRAIRU_INTERPOSED int fstat64(int fd, struct stat64* status) noexcept {
    using Function = int(int, struct stat64*);
    return callOrFail<Function>("fstat64", EIO, -1, fd, status);
}

BRAIRU_INTERPOSED int lstat64(const char* path, struct stat64* status) noexcept {
    using Function = int(const char*, struct stat64*);
    return callOrFail<Function>("lstat64", EACCES, -1, path, status);
}

BRAIRU_INTERPOSED int unlink(const char* path) noexcept {
    using Function = int(const char*);
    const int result = callOrFail<Function>("unlink", EROFS, -1, path);
    liveHandles().configs += result != 0 && std::strstr(path, "brairu.json.") != nullptr;
    return result;
}

BRAIRU_INTERPOSED void* mmap64(void* address, std::size_t size, int protection, int flags, int fd,
                               off64_t offset) noexcept {
    using Function = void*(void*, std::size_t, int, int, int, off64_t);
    void* const mapping = callOrFail<Function>("mmap64", ENOMEM, MAP_FAILED, address, size,
                                               protection, flags, fd, offset);
    liveHandles().mappings += mapping != MAP_FAILED && fd >= 0;
    return mapping;
}

BRAIRU_INTERPOSED int munmap(void* address, std::size_t size) noexcept {
    using Function = int(void*, std::size_t);
    --liveHandles().mappings;
    return next<Function>("munmap")(address, size);
}

BRAIRU_INTERPOSED int msync(void* address, std::size_t size, int flags) {
    using Function = int(void*, std::size_t, int);
    return callOrFail<Function>("msync", EIO, -1, address, size, flags);
}

BRAIRU_INTERPOSED int fsync(int fd) {
    using Function = int(int);
    return callOrFail<Function>("fsync", EIO, -1, fd);
}

BRAIRU_INTERPOSED ssize_t write(int fd, const void* data, std::size_t size) {
    using Function = ssize_t(int, const void*, std::size_t);
    return callOrFail<Function>("write", ENOSPC, ssize_t{-1}, fd, data, size);
}

BRAIRU_INTERPOSED int fchown(int fd, uid_t owner, gid_t group) noexcept {
    using Function = int(int, uid_t, gid_t);
    return callOrFail<Function>("fchown", EPERM, -1, fd, owner, group);
}

BRAIRU_INTERPOSED int fchmod(int fd, mode_t mode) noexcept {
    using Function = int(int, mode_t);
    return callOrFail<Function>("fchmod", EPERM, -1, fd, mode);
}

BRAIRU_INTERPOSED int rename(const char* from, const char* to) noexcept {
    using Function = int(const char*, const char*);
    return callOrFail<Function>("rename", EIO, -1, from, to);
}

BRAIRU_INTERPOSED int mkostemp64(char* name, int flags) {
    using Function = int(char*, int);
    return callOrFail<Function>("mkostemp64", EACCES, -1, name, flags);
}

BRAIRU_INTERPOSED int system(const char* command) {
    using Function = int(const char*);
    return callOrFail<Function>("system", EAGAIN, -1, command);
}
