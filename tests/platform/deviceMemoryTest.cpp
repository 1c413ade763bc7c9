#include "deviceMemory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace brairu::npu {
namespace {

TEST(AddressSpace, GivesOutRisingPageAddressesThatAreNeverZero) {
    AddressSpace space;
    std::uint32_t last = 0;
    for (const std::uint32_t bytes : {1U, 4096U, 4097U, 24576U}) {
        const auto memory = space.allocate(bytes);
        ASSERT_NE(memory, nullptr);
        EXPECT_GT(memory->physical(), last);
        EXPECT_EQ(memory->physical() % 4096, 0U);
        last = memory->physical();
    }
}

TEST(AddressSpace, ResolvesEveryAddressInsideAPiece) {
    AddressSpace space;
    const auto memory = space.allocate(100);
    EXPECT_EQ(space.resolve(memory->physical(), 100).get(), memory->data());
    EXPECT_EQ(space.resolve(memory->physical() + 99, 1).get(), memory->data() + 99);
    EXPECT_EQ(space.resolve(memory->physical() + 40, 60).get(), memory->data() + 40);
}

TEST(AddressSpace, ResolvesNothingOutsideAPiece) {
    AddressSpace space;
    const auto first = space.allocate(4096);
    const auto second = space.allocate(4096);
    EXPECT_EQ(space.resolve(0, 1), nullptr);
    EXPECT_EQ(space.resolve(first->physical() - 1, 1), nullptr);
    EXPECT_EQ(space.resolve(first->physical(), 4097), nullptr);
    EXPECT_EQ(space.resolve(first->physical() + 4096, 1), nullptr);
    EXPECT_EQ(space.resolve(first->physical(), UINT64_MAX), nullptr);
    EXPECT_EQ(space.resolve(second->physical() + 4096, 1), nullptr);
    EXPECT_EQ(space.resolve(0xffffffff, 1), nullptr);
}

TEST(AddressSpace, ForgetsFreedPiecesAndDoesNotReuseTheirAddresses) {
    AddressSpace space;
    auto memory = space.allocate(64);
    const std::uint32_t physical = memory->physical();
    memory.reset();
    EXPECT_EQ(space.resolve(physical, 1), nullptr);
    EXPECT_GT(space.allocate(64)->physical(), physical);
}

TEST(AddressSpace, KeepsResolvedBytesAliveAfterTheyAreFreed) {
    AddressSpace space;
    auto memory = space.allocate(64);
    memory->data()[5] = 7;
    const auto bytes = space.resolve(memory->physical(), 64);
    memory.reset();
    EXPECT_EQ(bytes.get()[5], 7);
}

TEST(AddressSpace, RefusesNothingAndTooMuch) {
    AddressSpace space;
    EXPECT_EQ(space.allocate(0), nullptr);
    EXPECT_EQ(space.allocate(0xffffffff), nullptr);
    EXPECT_NE(space.allocate(1), nullptr);
}

TEST(AddressSpace, GivesZeroedMemory) {
    AddressSpace space;
    const auto memory = space.allocate(5000);
    EXPECT_TRUE(std::all_of(memory->data(), memory->data() + 5000, [](int b) { return b == 0; }));
}

TEST(AddressSpace, FindsCpuAddressRanges) {
    AddressSpace space;
    const auto memory = space.allocate(100);
    EXPECT_TRUE(space.holds(memory->data(), 100));
    EXPECT_TRUE(space.holds(memory->data() + 100, 0));
    EXPECT_FALSE(space.holds(memory->data(), 101));
    EXPECT_FALSE(space.holds(memory->data() - 1, 1));
    EXPECT_FALSE(space.holds(nullptr, 1));
}

TEST(AddressSpace, ServesSeveralThreads) {
    AddressSpace space;
    const auto work = [&space] {
        for (int i = 0; i < 200; ++i) {
            const auto memory = space.allocate(4096);
            memory->data()[0] = static_cast<std::uint8_t>(i);
            EXPECT_EQ(space.resolve(memory->physical(), 4096).get(), memory->data());
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace brairu::npu
