#include "onnx/wire.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>

#include "onnx/refusal.h"

namespace brairu::npu {
namespace {

using namespace std::string_literals;

WireField only(const std::string& message) {
    WireReader reader(message);
    WireField field;
    EXPECT_TRUE(reader.next(field));
    EXPECT_TRUE(reader.atEnd());
    return field;
}

std::string reasonFor(const std::string& message) {
    try {
        WireReader reader(message);
        for (WireField field; reader.next(field);) {
        }
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "";
}

TEST(Wire, ReadsBackWhatItWrites) {
    WireWriter writer;
    writer.varint(1, 0);
    writer.varint(2, std::numeric_limits<std::uint64_t>::max());
    writer.real(3, -1.5F);
    writer.bytes(400, "text");
    const std::string message = writer.take();
    WireReader reader(message);
    WireField field;
    ASSERT_TRUE(reader.next(field));
    EXPECT_EQ(field.asVarint(), 0U);
    ASSERT_TRUE(reader.next(field));
    EXPECT_EQ(field.asInt(), -1);
    ASSERT_TRUE(reader.next(field));
    EXPECT_EQ(field.asFloat(), -1.5F);
    ASSERT_TRUE(reader.next(field));
    EXPECT_EQ(field.number, 400U);
    EXPECT_EQ(field.asBytes(), "text");
    EXPECT_FALSE(reader.next(field));
}

TEST(Wire, ReadsRepeatedNumbersPackedOrNot) {
    std::vector<std::int64_t> values;
    only("\x08\x07"s).appendTo(values);
    only("\x0a\x03\x01\xac\x02"s).appendTo(values);
    EXPECT_EQ(values, (std::vector<std::int64_t>{7, 1, 300}));
}

TEST(Wire, ReadsRepeatedFloatsPackedOrNot) {
    std::vector<float> values;
    only("\x0d\x00\x00\x80\x3f"s).appendTo(values);
    only("\x0a\x08\x00\x00\x00\x40\x00\x00\x80\xbf"s).appendTo(values);
    EXPECT_EQ(values, (std::vector<float>{1.0F, 2.0F, -1.0F}));
}

TEST(Wire, ReadsFixedWidthNumbers) {
    EXPECT_EQ(only("\x09\x01\x00\x00\x00\x00\x00\x00\x80"s).scalar, 0x8000000000000001U);
}

TEST(Wire, RefusesFieldsOfAnotherType) {
    const WireField number = only("\x08\x01"s);
    EXPECT_THROW(number.asBytes(), Refusal);
    EXPECT_THROW(number.asFloat(), Refusal);
    EXPECT_THROW(only("\x0a\x00"s).asVarint(), Refusal);
}

TEST(Wire, RefusesMalformedMessages) {
    EXPECT_EQ(reasonFor("\x08"s), "a field runs past its message");
    EXPECT_EQ(reasonFor("\x0a\x05"
                        "abcd"s),
              "a field runs past its message");
    EXPECT_EQ(reasonFor("\x0d\x00\x00"s), "a field runs past its message");
    EXPECT_EQ(reasonFor("\x0a\xff\xff\xff\xff\xff\xff\xff\xff\xff\x01"s),
              "a field runs past its message");
    EXPECT_EQ(reasonFor("\x08" + std::string(10, '\xff') + "\x01"),
              "a number is longer than 64 bits");
    EXPECT_EQ(reasonFor("\x0b"s), "a field has an unknown wire type");
    EXPECT_EQ(reasonFor("\x0f"s), "a field has an unknown wire type");
    EXPECT_EQ(reasonFor("\x00\x01"s), "a field has an impossible number");
    EXPECT_EQ(reasonFor("\xf8\xff\xff\xff\x7f\x01"s), "a field has an impossible number");
}

}  // namespace
}  // namespace brairu::npu
