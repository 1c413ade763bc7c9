// What a fuzz target makes of its input: numbers, choices and runs of bytes, taken from the front.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace brairu::fuzz {

class ByteSource {
public:
    ByteSource(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

    bool isEmpty() const { return rest_.empty(); }
    std::size_t remaining() const { return rest_.size(); }

    // Little-endian; bytes beyond the end are zeros.
    template <class Number>
    Number number() {
        static_assert(std::is_trivially_copyable_v<Number>);
        Number value{};
        const auto bytes = take(sizeof value);
        if (!bytes.empty()) {
            std::memcpy(&value, bytes.data(), bytes.size());
        }
        return value;
    }

    bool coin() { return (number<std::uint8_t>() & 1) != 0; }

    // Both included.
    int between(int first, int last) {
        const auto width = static_cast<std::uint32_t>(last - first) + 1;
        return first + static_cast<int>(number<std::uint16_t>() % width);
    }

    template <class Value>
    Value oneOf(std::initializer_list<Value> values) {
        return values.begin()[number<std::uint8_t>() % values.size()];
    }

    // At most count bytes: as many as there are.
    std::span<const std::uint8_t> take(std::size_t count) {
        const auto taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

    std::span<const std::uint8_t> takeRest() { return take(rest_.size()); }

private:
    std::span<const std::uint8_t> rest_;
};

inline std::string textOf(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

// A block of memory of its own for bytes, so that a read past their end is one past an allocation.
inline std::vector<std::uint8_t> copyOf(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace brairu::fuzz
