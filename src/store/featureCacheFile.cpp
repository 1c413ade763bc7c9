#include "store/featureCacheFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <utility>

#include "store/storeLog.h"
#include "utils/diskFault.h"

namespace brairu {
namespace {

constexpr mode_t kFileMode = 0666;

// Files for any sensible number of centres are smaller. Beyond, disk space is not reserved and the
// file is not read ahead: a typing error must cost neither the disk nor minutes.
constexpr std::uint64_t kLargestSensibleFile = std::uint64_t{64} << 20;

// 0, or an error of errno's. A host whose timer always strikes in between is left without.
template <typename Call>
int errorOf(const Call& call) {
    int error = call();
    for (int tries = 1; error == EINTR && tries < 100; ++tries) {
        error = call();
    }
    return error;
}

// Takes the disk space of the whole file before the file has its size: a full disk is met here and
// not by a write to the mapping, which would end the process. Where the file system cannot do this,
// what the file is to grow by is written instead, from its old end on: cut short, it is not yet of
// its size, and the next start goes on.
bool reserve(int fd, std::uint64_t oldSize, std::uint64_t size) {
    if (size > kLargestSensibleFile) {
        return true;
    }
    const auto end = static_cast<off_t>(size);
    const auto begin = std::min(static_cast<off_t>(oldSize), end);
    int error = errorOf([&] { return ::fallocate(fd, 0, 0, end) == 0 ? 0 : errno; });
    if (error == EOPNOTSUPP && begin < end) {
        error = errorOf([&] { return ::posix_fallocate(fd, begin, end - begin); });
    }
    if (error != 0) {
        errno = error;
    }
    const bool writesWouldMeetItToo = isDiskFault(error) || error == EFBIG;
    return !writesWouldMeetItToo;
}

// A file that could not be filled must not pass for a full one at the next start.
void giveBack(int fd, std::uint64_t oldSize) {
    const int reason = errno;
    [[maybe_unused]] const int status = ::ftruncate(fd, static_cast<off_t>(oldSize));
    errno = reason;
}

void* mapFile(int fd, std::uint64_t size) {
    if (size > std::numeric_limits<std::size_t>::max()) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    const int readAhead = size <= kLargestSensibleFile ? MAP_POPULATE : 0;
    return ::mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE,
                  MAP_SHARED | readAhead, fd, 0);
}

}  // namespace

FeatureCacheFile::FeatureCacheFile(std::string path, std::uint32_t capacity,
                                   std::uint32_t recordSize)
    : path_(std::move(path)),
      note_(path_ + ".changed"),
      capacity_(capacity),
      recordSize_(recordSize),
      fileSize_(capacity + std::uint64_t{capacity} * recordSize) {
    if (capacity_ == 0 || recordSize_ == 0) {
        return;
    }
    fd_.reset(offStandardStreams(::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kFileMode)));
    if (!fd_.isOpen()) {
        std::perror("open");
        return;
    }
    if (resize() && map("mmap") && (doubted_ || hasMark())) {
        doubt();
    }
}

bool FeatureCacheFile::resize() {
    struct stat status {};
    if (::fstat(fd_.get(), &status) == 0) {
        openedSize_ = static_cast<std::uint64_t>(status.st_size);
    }
    if (openedSize_ > 0 && openedSize_ != fileSize_) {
        doubted_ = true;
        note_.leave();  // before another size hides what happened; a mark can be left once mapped
    }
    if (!reserve(fd_.get(), openedSize_, fileSize_) ||
        ::ftruncate(fd_.get(), static_cast<off_t>(fileSize_)) != 0) {
        giveBack(fd_.get(), openedSize_);
        std::perror("ftruncate");
        fd_.reset();
        return false;
    }
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
    lost_ = false;
    if (mapping_ != nullptr) {
        (void)flush();
        ::munmap(mapping_, static_cast<std::size_t>(fileSize_));
        mapping_ = nullptr;
    }
}

void FeatureCacheFile::flushLater() {
    if (mapping_ != nullptr && !lost_) {
        markIfUnnoted();
        ::msync(mapping_, static_cast<std::size_t>(fileSize_), MS_ASYNC);
    }
}

bool FeatureCacheFile::isMapped() const {
    if (mapping_ != nullptr && !lost_ && isCut()) {
        lost_ = true;
        note_.leave();
        logStore("feature cache file was cut short: not used until the process starts anew\r\n");
    }
    return mapping_ != nullptr && !lost_;
}

bool FeatureCacheFile::isCut() const {
    struct stat status {};
    return ::fstat(fd_.get(), &status) == 0 &&
           static_cast<std::uint64_t>(status.st_size) < fileSize_;
}

bool FeatureCacheFile::isInside(std::int64_t slot) const {
    return slot >= 0 && slot < std::int64_t{capacity_};
}

bool FeatureCacheFile::fits(std::int64_t slot, std::span<const std::int8_t> record) const {
    return isInside(slot) && record.size() == recordSize_;
}

bool FeatureCacheFile::hasSlot(std::int64_t slot) const {
    return isMapped() && isInside(slot);
}

std::int8_t* FeatureCacheFile::writableRecord(std::size_t slot) {
    return reinterpret_cast<std::int8_t*>(mapping_ + capacity_ + slot * recordSize_);
}

bool FeatureCacheFile::put(std::int64_t slot, std::span<const std::int8_t> record) {
    if (!fits(slot, record) || !beginChange()) {
        return false;
    }
    place(slot, record);
    flushLater();
    return true;
}

bool FeatureCacheFile::beginChange() {
    if (!isMapped()) {
        return false;
    }
    note_.leave();
    markIfUnnoted();
    return true;
}

void FeatureCacheFile::doubt() {
    doubted_ = true;
    if (beginChange()) {
        flushLater();
    }
}

bool FeatureCacheFile::hasMark() const {
    const std::uint8_t* const end = flags() + capacity_;
    return std::find(flags(), end, kInDoubt) != end;
}

// The last free slot: the next palms take the first ones.
void FeatureCacheFile::markIfUnnoted() {
    if (note_.isLeft()) {
        return;
    }
    std::uint8_t* const end = mapping_ + capacity_;
    const auto last = std::find_if(std::reverse_iterator(end), std::reverse_iterator(mapping_),
                                   [](std::uint8_t flag) { return flag != kOccupied; });
    if (last.base() != mapping_) {
        *last = kInDoubt;
    }
}

void FeatureCacheFile::removeMark() {
    std::replace(mapping_, mapping_ + capacity_, kInDoubt, std::uint8_t{0});
}

bool FeatureCacheFile::place(std::int64_t slot, std::span<const std::int8_t> record) {
    if (mapping_ == nullptr || lost_ || !fits(slot, record)) {
        return false;
    }
    const auto index = static_cast<std::size_t>(slot);
    std::copy(record.begin(), record.end(), writableRecord(index));
    mapping_[index] = kOccupied;
    return true;
}

bool FeatureCacheFile::get(std::int64_t slot, std::vector<std::int8_t>& record) const {
    const auto index = static_cast<std::size_t>(slot);
    if (!hasSlot(slot) || mapping_[index] != kOccupied) {
        return false;
    }
    const std::int8_t* const bytes = this->record(index);
    record.assign(bytes, bytes + recordSize_);
    return true;
}

bool FeatureCacheFile::holds(std::int64_t slot, std::span<const std::int8_t> record) const {
    if (mapping_ == nullptr || !fits(slot, record)) {
        return false;
    }
    const auto index = static_cast<std::size_t>(slot);
    return mapping_[index] == kOccupied &&
           std::memcmp(this->record(index), record.data(), recordSize_) == 0;
}

bool FeatureCacheFile::remove(std::int64_t slot) {
    if (!isInside(slot) || !beginChange()) {
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
    if (!beginChange()) {
        return false;
    }
    std::fill_n(mapping_, capacity_, std::uint8_t{0});
    markIfUnnoted();
    ::msync(mapping_, capacity_, MS_SYNC);
    return true;
}

// The mark goes when the rest is on the disk: pages reach it in no order.
void FeatureCacheFile::settle() {
    if (!isMapped() || !flush()) {
        return;
    }
    if (hasMark()) {
        removeMark();
        if (!flush()) {
            return;
        }
    }
    note_.withdraw();
    doubted_ = false;
}

bool FeatureCacheFile::flush() {
    return ::msync(mapping_, static_cast<std::size_t>(fileSize_), MS_SYNC) == 0;
}

int FeatureCacheFile::close() {
    unmap();
    return fd_.isOpen() ? fd_.reset() : fd_.get();
}

bool FeatureCacheFile::reload() {
    close();
    fd_.reset(offStandardStreams(::open(path_.c_str(), O_RDWR | O_CLOEXEC, kFileMode)));
    if (!fd_.isOpen()) {
        std::perror("reload open");
        return false;
    }
    return map("reload mmap");
}

}  // namespace brairu
