#include "deviceMemory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

namespace brairu::npu {

namespace {

constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kAddressEnd = std::uint64_t{1} << 32;

std::uint64_t roundedToPages(std::uint64_t bytes) {
    return (bytes + kPage - 1) / kPage * kPage;
}

std::uint8_t* allocatePages(std::uint32_t bytes) {
    const std::uint64_t rounded = roundedToPages(bytes);
    if (rounded > SIZE_MAX)
        throw std::bad_alloc();
    void* data = std::aligned_alloc(kPage, static_cast<std::size_t>(rounded));
    if (data == nullptr)
        throw std::bad_alloc();
    std::memset(data, 0, static_cast<std::size_t>(rounded));
    return static_cast<std::uint8_t*>(data);
}

}  // namespace

void DeviceMemory::Free::operator()(std::uint8_t* data) const {
    std::free(data);
}

DeviceMemory::DeviceMemory(std::uint32_t bytes, std::uint32_t physical)
    : data_(allocatePages(bytes)), bytes_(bytes), physical_(physical) {}

bool DeviceMemory::holds(const void* address, std::uint32_t bytes) const {
    const auto begin = reinterpret_cast<std::uintptr_t>(data());
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    if (wanted < begin || wanted - begin > bytes_)
        return false;
    return bytes <= bytes_ - (wanted - begin);
}

AddressSpace& AddressSpace::instance() {
    // Never destroyed: a host's own static objects may release their memory after ours are gone.
    static auto* const space = new AddressSpace;
    return *space;
}

std::shared_ptr<DeviceMemory> AddressSpace::allocate(std::uint32_t bytes) {
    const std::lock_guard lock(mutex_);
    const std::uint32_t physical = takeAddresses(bytes);
    if (physical == 0)
        return nullptr;
    try {
        auto memory = std::make_shared<DeviceMemory>(bytes, physical);
        std::erase_if(pieces_, [](const auto& piece) { return piece.second.expired(); });
        pieces_.emplace(physical, memory);
        return memory;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

std::uint32_t AddressSpace::takeAddresses(std::uint32_t bytes) {
    const std::uint64_t end = next_ + roundedToPages(bytes) + kPage;
    if (bytes == 0 || end > kAddressEnd)
        return 0;
    const auto physical = static_cast<std::uint32_t>(next_);
    next_ = end;
    return physical;
}

std::shared_ptr<const std::uint8_t> AddressSpace::resolve(std::uint32_t physical,
                                                          std::uint64_t bytes) const {
    const std::lock_guard lock(mutex_);
    auto piece = pieces_.upper_bound(physical);
    if (piece == pieces_.begin())
        return nullptr;
    const std::shared_ptr<DeviceMemory> memory = std::prev(piece)->second.lock();
    if (memory == nullptr)
        return nullptr;
    const std::uint32_t offset = physical - memory->physical();
    if (offset > memory->size() || bytes > memory->size() - offset)
        return nullptr;
    return {memory, memory->data() + offset};
}

bool AddressSpace::holds(const void* address, std::uint32_t bytes) const {
    const std::lock_guard lock(mutex_);
    return std::any_of(pieces_.begin(), pieces_.end(), [&](const auto& piece) {
        const std::shared_ptr<DeviceMemory> memory = piece.second.lock();
        return memory != nullptr && memory->holds(address, bytes);
    });
}

}  // namespace brairu::npu
