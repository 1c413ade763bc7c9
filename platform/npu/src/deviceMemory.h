#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

namespace brairu::npu {

/// A zeroed piece of memory with an address in the device's 32-bit address space.
class DeviceMemory {
public:
    DeviceMemory(std::uint32_t bytes, std::uint32_t physical);

    std::uint8_t* data() const { return data_.get(); }
    std::uint32_t size() const { return bytes_; }
    std::uint32_t physical() const { return physical_; }
    /// Whether [address, address + bytes) lies inside.
    bool holds(const void* address, std::uint32_t bytes) const;

private:
    struct Free {
        void operator()(std::uint8_t* data) const;
    };

    std::unique_ptr<std::uint8_t, Free> data_;
    std::uint32_t bytes_;
    std::uint32_t physical_;
};

/// The device's address space: gives out physical addresses, never 0 and never twice, and resolves
/// them back. Pieces are a page apart, so that a range that runs past its piece resolves to
/// nothing. Safe for use by several threads.
class AddressSpace {
public:
    static AddressSpace& instance();

    /// Null when bytes is 0, or when memory or addresses are used up.
    std::shared_ptr<DeviceMemory> allocate(std::uint32_t bytes);

    /// The bytes at [physical, physical + bytes), null unless they lie inside one live piece. The
    /// result keeps them alive.
    std::shared_ptr<const std::uint8_t> resolve(std::uint32_t physical, std::uint64_t bytes) const;

    /// Whether [address, address + bytes) as the CPU sees it lies inside one live piece.
    bool holds(const void* address, std::uint32_t bytes) const;

private:
    std::uint32_t takeAddresses(std::uint32_t bytes);

    mutable std::mutex mutex_;
    std::uint64_t next_ = 0x10000000;
    std::map<std::uint32_t, std::weak_ptr<DeviceMemory>> pieces_;
};

}  // namespace brairu::npu
