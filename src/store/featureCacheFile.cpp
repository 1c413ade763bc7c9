#include "store/featureCacheFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <utility>

namespace brairu {
namespace {

constexpr mode_t kFileMode = 0666;

// Reading the whole file in at start makes the first search as fast as the later ones. Far beyond
// any sensible number of centres that would only keep the start waiting.
constexpr std::uint64_t kLargestReadAhead = std::uint64_t{256} << 20;

void* mapFile(int fd, std::uint64_t size) {
    if (size > std::numeric_limits<std::size_t>::max()) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    const int readAhead = size <= kLargestReadAhead ? MAP_POPULATE : 0;
    return ::mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE,
                  MAP_SHARED | readAhead, fd, 0);
}

}  // namespace

FeatureCacheFile::FeatureCacheFile(std::string path, std::uint32_t capacity,
                                   std::uint32_t recordSize)
    : path_(std::move(path)),
      capacity_(capacity),
      recordSize_(recordSize),
      fileSize_(capacity + std::uint64_t{capacity} * recordSize) {
    if (capacity_ == 0 || recordSize_ == 0) {
        return;
    }
    fd_.reset(::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kFileMode));
    if (!fd_.isOpen()) {
        std::perror("open");
        return;
    }
    if (resize()) {
        map("mmap");
    }
}

bool FeatureCacheFile::resize() {
    const auto size = static_cast<off_t>(fileSize_);
    struct stat status {};
    const bool known = ::fstat(fd_.get(), &status) == 0;
    if (::ftruncate(fd_.get(), size) != 0) {
        std::perror("ftruncate");
        fd_.reset();
        return false;
    }
    wasResized_ = known && status.st_size > 0 && status.st_size != size;
    return true;
}

bool FeatureCacheFile::map(const char* fault) {
    void* const mapping = mapFile(fd_.get(), fileSize_);
    if (mapping == MAP_FAILED) {
        std::perror(fault);
        fd_.reset();
        return false;
    }
    mapping_ = static_cast<std::uint8_t*>(mapping);
    return true;
}

void FeatureCacheFile::unmap() {
    if (isMapped()) {
        const auto size = static_cast<std::size_t>(fileSize_);
        ::msync(mapping_, size, MS_SYNC);
        ::munmap(mapping_, size);
        mapping_ = nullptr;
    }
}

void FeatureCacheFile::flushLater() {
    ::msync(mapping_, static_cast<std::size_t>(fileSize_), MS_ASYNC);
}

bool FeatureCacheFile::holds(std::int64_t slot) const {
    return isMapped() && slot >= 0 && slot < std::int64_t{capacity_};
}

std::int8_t* FeatureCacheFile::writableRecord(std::size_t slot) {
    return reinterpret_cast<std::int8_t*>(mapping_ + capacity_ + slot * recordSize_);
}

bool FeatureCacheFile::put(std::int64_t slot, std::span<const std::int8_t> record) {
    if (!holds(slot) || record.size() != recordSize_) {
        return false;
    }
    const auto index = static_cast<std::size_t>(slot);
    std::copy(record.begin(), record.end(), writableRecord(index));
    mapping_[index] = kOccupied;
    flushLater();
    return true;
}

bool FeatureCacheFile::get(std::int64_t slot, std::vector<std::int8_t>& record) const {
    const auto index = static_cast<std::size_t>(slot);
    if (!holds(slot) || mapping_[index] != kOccupied) {
        return false;
    }
    const std::int8_t* const bytes = this->record(index);
    record.assign(bytes, bytes + recordSize_);
    return true;
}

bool FeatureCacheFile::remove(std::int64_t slot) {
    if (!holds(slot)) {
        return false;
    }
    mapping_[slot] = 0;
    flushLater();
    return true;
}

// Free of branches, so that the compiler counts whole vectors of flags at a time.
int FeatureCacheFile::count() const {
    if (!isMapped()) {
        return 0;
    }
    const std::uint8_t* const flags = mapping_;
    const std::uint32_t slots = capacity_;
    int occupied = 0;
    for (std::uint32_t slot = 0; slot < slots; ++slot) {
        occupied += flags[slot] == kOccupied;
    }
    return occupied;
}

bool FeatureCacheFile::clear() {
    if (!isMapped()) {
        return false;
    }
    std::fill_n(mapping_, capacity_, std::uint8_t{0});
    ::msync(mapping_, capacity_, MS_SYNC);
    return true;
}

int FeatureCacheFile::close() {
    unmap();
    return fd_.isOpen() ? fd_.reset() : fd_.get();
}

bool FeatureCacheFile::reload() {
    close();
    fd_.reset(::open(path_.c_str(), O_RDWR | O_CLOEXEC, kFileMode));
    if (!fd_.isOpen()) {
        std::perror("reload open");
        return false;
    }
    return map("reload mmap");
}

}  // namespace brairu
