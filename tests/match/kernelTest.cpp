#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "match/kernels/chosenKernel.h"
#include "match/preparedProbe.h"
#include "support/scriptedLog.h"
#include "support/seededRandom.h"

namespace brairu::test {
namespace {

using Values = std::vector<std::int8_t>;

constexpr std::size_t kLongest = 1100;

Values randomValues(SeededRandom& random, std::size_t length) {
    Values values(length);
    for (std::int8_t& value : values) {
        value = static_cast<std::int8_t>(random.between(-128, 127));
    }
    return values;
}

// The definition, in sums that cannot overflow.
RecordSums plainSums(std::span<const std::int8_t> probe, const std::int8_t* record) {
    std::int64_t ps = 0;
    std::int64_t ss = 0;
    for (std::size_t i = 0; i < probe.size(); ++i) {
        ps += std::int64_t{probe[i]} * record[i];
        ss += std::int64_t{record[i]} * record[i];
    }
    return {static_cast<std::int32_t>(ps), static_cast<std::int32_t>(ss)};
}

// Memory behind whose last byte a read ends the process.
class ReadableEnd {
public:
    ReadableEnd()
        : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          begin_(static_cast<std::int8_t*>(mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE,
                                                MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        mprotect(begin_ + page_, page_, PROT_NONE);
    }
    ~ReadableEnd() { munmap(begin_, 2 * page_); }
    ReadableEnd(const ReadableEnd&) = delete;
    ReadableEnd& operator=(const ReadableEnd&) = delete;

    std::span<std::int8_t> lastBytes(std::size_t count) const {
        return {begin_ + page_ - count, count};
    }

private:
    std::size_t page_;
    std::int8_t* begin_;
};

// Emulators of 32-bit ARM run more than they report: with this variable set, every kernel is tried.
bool isTried(const SearchKernel& kernel) {
    return kernel.runsHere() || std::getenv("BRAIRU_TEST_EVERY_KERNEL") != nullptr;
}

class KernelTest : public testing::TestWithParam<const SearchKernel*> {
protected:
    void SetUp() override {
        if (!isTried(*GetParam())) {
            GTEST_SKIP() << "this CPU cannot run " << GetParam()->name;
        }
    }

    // Of records of the probe's length that are summed at one go.
    static std::vector<RecordSums> sumsOfBatch(std::span<const std::int8_t> probe,
                                               const std::vector<const std::int8_t*>& records) {
        const PreparedProbe prepared(probe);
        const std::vector<const std::int8_t*> upcoming(records.size(), nullptr);
        std::vector<RecordSums> sums(records.size(), {-1, -1});
        GetParam()->sumRecords(prepared.view(), records.data(), upcoming.data(), records.size(),
                               sums.data());
        return sums;
    }

    static RecordSums sumsOf(std::span<const std::int8_t> probe, const std::int8_t* record) {
        const PreparedProbe prepared(probe);
        const std::int8_t* const upcoming = nullptr;
        RecordSums sums{-1, -1};
        GetParam()->sumRecords(prepared.view(), &record, &upcoming, 1, &sums);
        return sums;
    }
};

std::string nameOf(const testing::TestParamInfo<const SearchKernel*>& info) {
    return info.param->name;
}

INSTANTIATE_TEST_SUITE_P(Every, KernelTest,
                         testing::ValuesIn(searchKernels().begin(), searchKernels().end()), nameOf);

TEST_P(KernelTest, AgreesWithTheDefinitionAtEveryLength) {
    SeededRandom random;
    for (std::size_t length = 0; length <= kLongest; ++length) {
        const Values probe = randomValues(random, length);
        const Values record = randomValues(random, length);
        ASSERT_EQ(sumsOf(probe, record.data()), plainSums(probe, record.data())) << length;
    }
}

TEST_P(KernelTest, AgreesWithTheDefinitionAtEveryAddress) {
    SeededRandom random;
    const Values bytes = randomValues(random, 512 + 2 * kCacheLine);
    for (std::size_t ofProbe = 0; ofProbe < kCacheLine; ++ofProbe) {
        const auto probe = std::span(bytes).subspan(ofProbe, 512);
        for (std::size_t ofRecord = 0; ofRecord < kCacheLine; ++ofRecord) {
            const std::int8_t* const record = bytes.data() + ofRecord;
            ASSERT_EQ(sumsOf(probe, record), plainSums(probe, record))
                << ofProbe << " " << ofRecord;
        }
    }
}

TEST_P(KernelTest, AgreesWithTheDefinitionOnExtremeValues) {
    for (const int ofProbe : {-128, -127, -1, 0, 1, 127}) {
        for (const int ofRecord : {-128, -127, -1, 0, 1, 127}) {
            const Values probe(kLongest, static_cast<std::int8_t>(ofProbe));
            const Values record(kLongest, static_cast<std::int8_t>(ofRecord));
            const RecordSums wanted{static_cast<std::int32_t>(kLongest) * ofProbe * ofRecord,
                                    static_cast<std::int32_t>(kLongest) * ofRecord * ofRecord};
            EXPECT_EQ(sumsOf(probe, record.data()), wanted) << ofProbe << " " << ofRecord;
        }
    }
}

TEST_P(KernelTest, ReadsNothingBeyondTheLength) {
    const ReadableEnd memory;
    SeededRandom random;
    for (std::size_t length = 0; length <= 130; ++length) {
        const std::span<std::int8_t> probe = memory.lastBytes(length);
        std::ranges::copy(randomValues(random, length), probe.begin());
        ASSERT_EQ(sumsOf(probe, probe.data()), plainSums(probe, probe.data())) << length;
    }
}

TEST_P(KernelTest, SumsEachRecordOfABatch) {
    SeededRandom random;
    const Values bytes = randomValues(random, 16 * 512);
    for (const std::size_t length : {512u, 509u, 64u, 63u, 1u}) {
        const Values probe = randomValues(random, length);
        for (std::size_t count = 0; count <= 16; ++count) {
            std::vector<const std::int8_t*> records;
            std::vector<RecordSums> wanted;
            for (std::size_t i = 0; i < count; ++i) {
                records.push_back(bytes.data() + (15 - i) * 512);
                wanted.push_back(plainSums(probe, records.back()));
            }
            const RecordSums untouched{-7, -7};
            std::vector<RecordSums> sums(count + 1, untouched);
            wanted.push_back(untouched);
            const PreparedProbe prepared(probe);
            GetParam()->sumRecords(prepared.view(), records.data(), records.data(), count,
                                   sums.data());
            ASSERT_EQ(sums, wanted) << length << " " << count;
        }
    }
}

std::vector<RecordSums> plainSumsOfBatch(std::span<const std::int8_t> probe,
                                         const std::vector<const std::int8_t*>& records) {
    std::vector<RecordSums> sums;
    for (const std::int8_t* const record : records) {
        sums.push_back(plainSums(probe, record));
    }
    return sums;
}

TEST_P(KernelTest, SumsWholeBlocksSideBySideAtEveryAddress) {
    SeededRandom random;
    const Values probe = randomValues(random, kWholeBlock);
    const Values bytes = randomValues(random, 2 * kWholeBlock);
    for (std::size_t first = 0; first < kCacheLine; ++first) {
        for (std::size_t second = 0; second < kCacheLine; ++second) {
            const std::vector<const std::int8_t*> records{bytes.data() + first,
                                                          bytes.data() + 3 * kCacheLine + second,
                                                          bytes.data() + kCacheLine + second};
            ASSERT_EQ(sumsOfBatch(probe, records), plainSumsOfBatch(probe, records))
                << first << " " << second;
        }
    }
}

TEST_P(KernelTest, SumsWholeBlocksOfExtremeValues) {
    constexpr std::array kExtremes{-128, -127, -1, 0, 1, 127};
    std::vector<Values> blocks;
    for (const int value : kExtremes) {
        blocks.emplace_back(kWholeBlock, static_cast<std::int8_t>(value));
    }
    for (const Values& probe : blocks) {
        for (const Values& a : blocks) {
            for (const Values& b : blocks) {
                const std::vector<const std::int8_t*> records{a.data(), b.data(), a.data()};
                ASSERT_EQ(sumsOfBatch(probe, records), plainSumsOfBatch(probe, records))
                    << int{probe[0]} << " " << int{a[0]} << " " << int{b[0]};
            }
        }
    }
}

TEST_P(KernelTest, ReadsNothingBeyondAWholeBlock) {
    const ReadableEnd memory;
    SeededRandom random;
    const std::span<std::int8_t> block = memory.lastBytes(kWholeBlock);
    std::ranges::copy(randomValues(random, kWholeBlock), block.begin());
    for (std::size_t count = 1; count <= 3; ++count) {
        const std::vector<const std::int8_t*> records(count, block.data());
        ASSERT_EQ(sumsOfBatch(block, records), plainSumsOfBatch(block, records)) << count;
    }
}

TEST(SearchKernels, EndWithThePlainOne) {
    ASSERT_FALSE(searchKernels().empty());
    EXPECT_STREQ(searchKernels().back()->name, "scalar");
    EXPECT_EQ(usableKernel("scalar"), &kScalarKernel);
}

TEST(SearchKernels, AreFoundByNameWhereTheyRun) {
    for (const SearchKernel* kernel : searchKernels()) {
        EXPECT_EQ(usableKernel(kernel->name), kernel->runsHere() ? kernel : nullptr);
    }
    EXPECT_EQ(usableKernel("abacus"), nullptr);
    EXPECT_EQ(usableKernel(""), nullptr);
}

const SearchKernel* fastestHere() {
    return *std::ranges::find_if(searchKernels(), [](auto* kernel) { return kernel->runsHere(); });
}

TEST(SearchKernels, TheFastestThatRunsIsChosen) {
    EXPECT_EQ(&chooseKernel(nullptr), fastestHere());
}

TEST(SearchKernels, ANameForcesOne) {
    for (const SearchKernel* kernel : searchKernels()) {
        if (kernel->runsHere()) {
            EXPECT_EQ(&chooseKernel(kernel->name), kernel);
        }
    }
}

TEST(SearchKernels, AnUnknownNameIsLoggedAndIgnored) {
    ScriptedLog::clear();
    EXPECT_EQ(&chooseKernel("abacus"), fastestHere());
    EXPECT_THAT(ScriptedLog::texts("pva"),
                testing::ElementsAre(std::string("no search kernel \"abacus\" here: ") +
                                     fastestHere()->name + " runs\n"));
}

// What it prints where the kernel cannot run has the whole forced run count as skipped.
TEST(SearchKernels, TheEnvironmentForcesTheOneOfTheProcess) {
    const char* const forced = std::getenv("BRAIRU_SEARCH_KERNEL");
    if (forced == nullptr) {
        EXPECT_EQ(&chosenKernel(), fastestHere());
        return;
    }
    const auto named = std::ranges::find_if(
        searchKernels(), [&](auto* kernel) { return std::string(kernel->name) == forced; });
    ASSERT_NE(named, searchKernels().end()) << forced;
    if (!(*named)->runsHere()) {
        GTEST_SKIP() << "the forced kernel does not run here: " << forced;
    }
    EXPECT_EQ(&chosenKernel(), *named);
}

}  // namespace
}  // namespace brairu::test
