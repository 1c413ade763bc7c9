#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brairu::npu {

enum class WireType : std::uint8_t { kVarint = 0, kFixed64 = 1, kBytes = 2, kFixed32 = 5 };

/// One field of a protobuf message. The accessors throw Refusal when the field is of another wire
/// type.
class WireField {
public:
    std::uint32_t number = 0;
    WireType type = WireType::kVarint;
    std::uint64_t scalar = 0;
    std::string_view payload;

    std::uint64_t asVarint() const;
    std::int64_t asInt() const { return static_cast<std::int64_t>(asVarint()); }
    std::string_view asBytes() const;
    float asFloat() const;

    /// A repeated field's contribution, packed or not.
    void appendTo(std::vector<std::int64_t>& values) const;
    void appendTo(std::vector<float>& values) const;
};

/// Walks the fields of one message. The views it hands out point into the message.
class WireReader {
public:
    explicit WireReader(std::string_view message) : rest_(message) {}

    /// False at the end of the message. Throws Refusal when the bytes are no message.
    bool next(WireField& field);
    bool atEnd() const { return rest_.empty(); }
    std::uint64_t readVarint();
    std::uint32_t readFixed32();

private:
    void readValue(WireField& field);
    std::string_view take(std::uint64_t bytes);

    std::string_view rest_;
};

class WireWriter {
public:
    void varint(std::uint32_t field, std::uint64_t value);
    void bytes(std::uint32_t field, std::string_view value);
    void real(std::uint32_t field, float value);
    void ints(std::uint32_t field, const std::vector<std::int64_t>& values);
    const std::string& message() const { return message_; }
    std::string take() { return std::move(message_); }

private:
    void key(std::uint32_t field, WireType type);
    void rawVarint(std::uint64_t value);

    std::string message_;
};

}  // namespace brairu::npu
