// The feature cache's bytes, read and written with nothing around them.
#pragma once

#include <cstdint>
#include <string>

namespace brairu::bench {

// Reads the flags of a cache with so many slots from its file and returns the number of those set.
// Throws std::system_error.
int countFlags(const std::string& path, std::size_t slots);

// A new file of a cache's size, mapped for writing; it is not waited for, and goes with the object.
class PlainCache {
public:
    // Throws std::system_error.
    PlainCache(std::string path, std::size_t slots);
    ~PlainCache();
    PlainCache(const PlainCache&) = delete;
    PlainCache& operator=(const PlainCache&) = delete;

    void put(std::size_t slot, const std::uint8_t* record);

private:
    std::string path_;
    std::size_t slots_;
    std::size_t size_;
    std::uint8_t* mapping_;
};

}  // namespace brairu::bench
