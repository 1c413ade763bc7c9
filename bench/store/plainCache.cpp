#include "store/plainCache.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "store/palmTemplate.h"
#include "utils/fileDescriptor.h"

namespace brairu::bench {
namespace {

constexpr mode_t kFileMode = 0666;

void require(bool done, const std::string& path) {
    if (!done) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

std::uint8_t* newMapping(const std::string& path, std::size_t size) {
    const FileDescriptor fd(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode));
    require(fd.isOpen() && ::ftruncate(fd.get(), static_cast<off_t>(size)) == 0, path);
    void* const mapping =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd.get(), 0);
    require(mapping != MAP_FAILED, path);
    return static_cast<std::uint8_t*>(mapping);
}

}  // namespace

int countFlags(const std::string& path, std::size_t slots) {
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<std::uint8_t> flags(slots);
    require(::read(fd.get(), flags.data(), slots) == static_cast<ssize_t>(slots), path);
    return static_cast<int>(std::ranges::count(flags, std::uint8_t{1}));
}

PlainCache::PlainCache(std::string path, std::size_t slots)
    : path_(std::move(path)),
      slots_(slots),
      size_(slots * (1 + kBlockBytes)),
      mapping_(newMapping(path_, size_)) {}

PlainCache::~PlainCache() {
    ::munmap(mapping_, size_);
    ::unlink(path_.c_str());
}

void PlainCache::put(std::size_t slot, const std::uint8_t* record) {
    std::copy_n(record, kBlockBytes, mapping_ + slots_ + slot * kBlockBytes);
    mapping_[slot] = 1;
}

}  // namespace brairu::bench
