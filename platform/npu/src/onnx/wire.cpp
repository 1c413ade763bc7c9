#include "onnx/wire.h"

#include <bit>
#include <cstring>
#include <limits>

#include "onnx/refusal.h"

namespace brairu::npu {

static_assert(std::endian::native == std::endian::little,
              "fixed-width values and raw weights are read in place");

namespace {

constexpr std::size_t kVarintBytesMax = 10;
constexpr unsigned kTypeBits = 3;

template <class Value>
Value fixedWidth(std::string_view bytes) {
    Value value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

WireType wireTypeOf(std::uint64_t key) {
    const auto type = static_cast<std::uint8_t>(key & ((1U << kTypeBits) - 1));
    require(type <= 2 || type == 5, "a field has an unknown wire type");
    return static_cast<WireType>(type);
}

}  // namespace

std::uint64_t WireField::asVarint() const {
    require(type == WireType::kVarint, "a number is stored as something else");
    return scalar;
}

std::string_view WireField::asBytes() const {
    require(type == WireType::kBytes, "a text or message is stored as something else");
    return payload;
}

float WireField::asFloat() const {
    require(type == WireType::kFixed32, "a float is stored as something else");
    return std::bit_cast<float>(static_cast<std::uint32_t>(scalar));
}

void WireField::appendTo(std::vector<std::int64_t>& values) const {
    if (type != WireType::kBytes) {
        values.push_back(asInt());
        return;
    }
    WireReader packed(payload);
    while (!packed.atEnd())
        values.push_back(static_cast<std::int64_t>(packed.readVarint()));
}

void WireField::appendTo(std::vector<float>& values) const {
    if (type != WireType::kBytes) {
        values.push_back(asFloat());
        return;
    }
    WireReader packed(payload);
    while (!packed.atEnd())
        values.push_back(std::bit_cast<float>(packed.readFixed32()));
}

bool WireReader::next(WireField& field) {
    if (rest_.empty())
        return false;
    const std::uint64_t key = readVarint();
    require(key <= std::numeric_limits<std::uint32_t>::max() && (key >> kTypeBits) != 0,
            "a field has an impossible number");
    field = WireField();
    field.number = static_cast<std::uint32_t>(key >> kTypeBits);
    field.type = wireTypeOf(key);
    readValue(field);
    return true;
}

void WireReader::readValue(WireField& field) {
    switch (field.type) {
        case WireType::kVarint: field.scalar = readVarint(); break;
        case WireType::kFixed64: field.scalar = fixedWidth<std::uint64_t>(take(8)); break;
        case WireType::kFixed32: field.scalar = readFixed32(); break;
        case WireType::kBytes: field.payload = take(readVarint()); break;
    }
}

std::uint64_t WireReader::readVarint() {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < kVarintBytesMax; ++i) {
        const auto byte = static_cast<std::uint8_t>(take(1).front());
        value |= static_cast<std::uint64_t>(byte & 0x7FU) << (7 * i);
        if (byte < 0x80)
            return value;
    }
    throw Refusal("a number is longer than 64 bits");
}

std::uint32_t WireReader::readFixed32() {
    return fixedWidth<std::uint32_t>(take(4));
}

std::string_view WireReader::take(std::uint64_t bytes) {
    require(bytes <= rest_.size(), "a field runs past its message");
    const std::string_view taken = rest_.substr(0, static_cast<std::size_t>(bytes));
    rest_.remove_prefix(taken.size());
    return taken;
}

void WireWriter::varint(std::uint32_t field, std::uint64_t value) {
    key(field, WireType::kVarint);
    rawVarint(value);
}

void WireWriter::bytes(std::uint32_t field, std::string_view value) {
    key(field, WireType::kBytes);
    rawVarint(value.size());
    message_.append(value);
}

void WireWriter::real(std::uint32_t field, float value) {
    key(field, WireType::kFixed32);
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    message_.append(bytes, sizeof bytes);
}

void WireWriter::ints(std::uint32_t field, const std::vector<std::int64_t>& values) {
    for (const std::int64_t value : values)
        varint(field, static_cast<std::uint64_t>(value));
}

void WireWriter::key(std::uint32_t field, WireType type) {
    rawVarint(static_cast<std::uint64_t>(field) << kTypeBits | static_cast<std::uint64_t>(type));
}

void WireWriter::rawVarint(std::uint64_t value) {
    for (; value >= 0x80; value >>= 7)
        message_.push_back(static_cast<char>(value | 0x80));
    message_.push_back(static_cast<char>(value));
}

}  // namespace brairu::npu
