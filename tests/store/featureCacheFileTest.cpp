#include "store/featureCacheFile.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "interposedCalls.h"
#include "support/captureOutput.h"
#include "support/childProcess.h"
#include "support/fileTimes.h"
#include "support/scriptedLog.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr std::uint32_t kSlots = 21;
constexpr std::uint32_t kRecord = 5;
constexpr std::size_t kFileBytes = kSlots + kSlots * kRecord;

using Record = std::vector<std::int8_t>;

class FeatureCacheFileTest : public testing::Test {
protected:
    FeatureCacheFileTest() { InterposedCalls::reset(); }

    FeatureCacheFile open() const { return {path(), kSlots, kRecord}; }
    std::string path() const { return folder_.file("cache.bin"); }

    void poke(std::size_t offset, char byte) const {
        std::fstream file(path(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(offset));
        file.put(byte);
    }

    TemporaryFolder folder_;
    const Record record_{1, -2, 127, -128, 0};
};

// All that an unmapped cache must refuse.
void expectRefusal(FeatureCacheFile& cache) {
    Record out{7};
    EXPECT_FALSE(cache.isMapped());
    EXPECT_FALSE(cache.put(0, Record(cache.recordSize())));
    EXPECT_FALSE(cache.place(0, Record(cache.recordSize())));
    EXPECT_FALSE(cache.get(0, out));
    EXPECT_THAT(out, ElementsAre(7));
    EXPECT_FALSE(cache.remove(0));
    EXPECT_EQ(cache.count(), 0);
    EXPECT_FALSE(cache.clear());
}

TEST_F(FeatureCacheFileTest, FreshFileIsAllZeroAndOfExactSize) {
    const FeatureCacheFile cache(path(), 10000, 512);
    EXPECT_TRUE(cache.isMapped());
    EXPECT_EQ(std::filesystem::file_size(path()), 5130000u);
    EXPECT_THAT(readFile(path()), Each('\0'));
    EXPECT_EQ(cache.count(), 0);
    Record out;
    for (const int slot : {0, 1, 9999}) {
        EXPECT_FALSE(cache.get(slot, out));
    }
}

TEST_F(FeatureCacheFileTest, CreatesTheFileWithModeOfTheUmask) {
    const mode_t umask = ::umask(027);
    const FeatureCacheFile cache = open();
    ::umask(umask);
    struct stat status {};
    ASSERT_EQ(::stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST_F(FeatureCacheFileTest, PutWritesFlagAndRecordAtTheirPlaces) {
    FeatureCacheFile cache = open();
    EXPECT_TRUE(cache.put(3, record_));
    const std::string file = readFile(path());
    EXPECT_EQ(file.substr(0, kSlots), std::string("\0\0\0\1", 4) + std::string(kSlots - 4, '\0'));
    const std::string record = file.substr(kSlots + 3 * kRecord, kRecord);
    EXPECT_EQ(Record(record.begin(), record.end()), record_);
    EXPECT_EQ(cache.flags()[3], FeatureCacheFile::kOccupied);
    EXPECT_EQ(Record(cache.record(3), cache.record(3) + kRecord), record_);
}

TEST_F(FeatureCacheFileTest, PutTakesTheLastSlotAndRefusesTheOneBehind) {
    FeatureCacheFile cache = open();
    EXPECT_TRUE(cache.put(kSlots - 1, record_));
    const std::string before = readFile(path());
    EXPECT_FALSE(cache.put(kSlots, record_));
    EXPECT_FALSE(cache.put(-1, record_));
    EXPECT_FALSE(cache.put(std::int64_t{1} << 32, record_));
    EXPECT_FALSE(cache.put(std::int64_t{1} << 62, record_));
    EXPECT_EQ(readFile(path()), before);
    EXPECT_EQ(cache.count(), 1);
}

TEST_F(FeatureCacheFileTest, PutRefusesAnotherLength) {
    FeatureCacheFile cache = open();
    EXPECT_FALSE(cache.put(0, Record(kRecord - 1, 9)));
    EXPECT_FALSE(cache.put(0, Record(kRecord + 1, 9)));
    EXPECT_FALSE(cache.put(0, Record()));
    EXPECT_THAT(readFile(path()), Each('\0'));
}

TEST_F(FeatureCacheFileTest, GetReplacesAndResizesTheVector) {
    FeatureCacheFile cache = open();
    cache.put(2, record_);
    Record shorter{1};
    Record longer(100, 4);
    EXPECT_TRUE(cache.get(2, shorter));
    EXPECT_TRUE(cache.get(2, longer));
    EXPECT_EQ(shorter, record_);
    EXPECT_EQ(longer, record_);
}

TEST_F(FeatureCacheFileTest, GetRefusesSlotsOutsideTheFile) {
    FeatureCacheFile cache = open();
    Record out{3};
    EXPECT_FALSE(cache.get(kSlots, out));
    EXPECT_FALSE(cache.get(-1, out));
    EXPECT_THAT(out, ElementsAre(3));
}

TEST_F(FeatureCacheFileTest, RemoveLeavesTheRecordBytes) {
    FeatureCacheFile cache = open();
    cache.put(4, record_);
    EXPECT_TRUE(cache.remove(4));
    Record out;
    EXPECT_FALSE(cache.get(4, out));
    EXPECT_EQ(cache.count(), 0);
    EXPECT_EQ(Record(cache.record(4), cache.record(4) + kRecord), record_);
}

TEST_F(FeatureCacheFileTest, RemoveTakesFreeSlotsAndRefusesThoseOutside) {
    FeatureCacheFile cache = open();
    EXPECT_TRUE(cache.remove(kSlots - 1));
    EXPECT_FALSE(cache.remove(kSlots));
    EXPECT_FALSE(cache.remove(-1));
}

TEST_F(FeatureCacheFileTest, ClearFreesAllSlotsAndKeepsTheRecords) {
    FeatureCacheFile cache = open();
    cache.put(0, record_);
    cache.put(kSlots - 1, record_);
    EXPECT_TRUE(cache.clear());
    EXPECT_EQ(cache.count(), 0);
    for (const std::size_t slot : {std::size_t{0}, std::size_t{kSlots - 1}}) {
        EXPECT_EQ(Record(cache.record(slot), cache.record(slot) + kRecord), record_);
    }
}

TEST_F(FeatureCacheFileTest, AnyFlagButOneCountsAsFree) {
    FeatureCacheFile cache = open();
    cache.put(1, record_);
    cache.put(2, record_);
    for (const char flag : {'\2', '\xff', '\x81'}) {
        poke(1, flag);
        Record out;
        EXPECT_EQ(cache.count(), 1);
        EXPECT_FALSE(cache.get(1, out));
    }
}

TEST_F(FeatureCacheFileTest, CountsEveryNumberOfSlots) {
    for (std::uint32_t slots = 1; slots < 70; ++slots) {
        FeatureCacheFile cache(folder_.file(std::to_string(slots)), slots, 1);
        for (std::uint32_t slot = 0; slot < slots; ++slot) {
            EXPECT_EQ(cache.count(), static_cast<int>(slot));
            cache.put(slot, Record{1});
        }
        EXPECT_EQ(cache.count(), static_cast<int>(slots));
    }
}

TEST_F(FeatureCacheFileTest, RestartKeepsEveryOccupiedSlot) {
    {
        FeatureCacheFile cache = open();
        cache.put(0, record_);
        cache.put(7, record_);
    }
    const FeatureCacheFile cache = open();
    EXPECT_EQ(cache.count(), 2);
    Record out;
    EXPECT_TRUE(cache.get(7, out));
    EXPECT_EQ(out, record_);
}

TEST_F(FeatureCacheFileTest, StartExtendsASmallerFileWithZeros) {
    folder_.write("cache.bin", "\1\1");
    const FeatureCacheFile cache = open();
    EXPECT_EQ(readFile(path()), "\1\1" + std::string(kFileBytes - 2, '\0'));
    EXPECT_EQ(cache.count(), 2);
    EXPECT_EQ(cache.openedSize(), 2u);
}

TEST_F(FeatureCacheFileTest, KnowsTheSizeThatItFound) {
    EXPECT_EQ(open().openedSize(), 0u);
    EXPECT_EQ(open().openedSize(), kFileBytes);
    EXPECT_EQ(open().fileSize(), kFileBytes);
}

TEST_F(FeatureCacheFileTest, StartTakesTheDiskSpaceOfTheWholeFile) {
    const FeatureCacheFile cache = open();
    struct stat status {};
    ASSERT_EQ(::stat(path().c_str(), &status), 0);
    EXPECT_GE(static_cast<std::size_t>(status.st_blocks) * 512, kFileBytes);
}

TEST_F(FeatureCacheFileTest, StartCutsALargerFile) {
    folder_.write("cache.bin", std::string(kFileBytes + 1000, '\1'));
    const FeatureCacheFile cache = open();
    EXPECT_EQ(readFile(path()), std::string(kFileBytes, '\1'));
    EXPECT_EQ(cache.openedSize(), kFileBytes + 1000);
}

TEST_F(FeatureCacheFileTest, FlushesChangesWithoutWaitingAndTheClearingWithWaiting) {
    FeatureCacheFile cache = open();
    cache.put(0, record_);
    cache.remove(0);
    cache.clear();
    cache.close();
    EXPECT_THAT(InterposedCalls::get().flushes,
                ElementsAre(Flush{kFileBytes, MS_ASYNC}, Flush{kFileBytes, MS_ASYNC},
                            Flush{kSlots, MS_SYNC}, Flush{kFileBytes, MS_SYNC}));
}

TEST_F(FeatureCacheFileTest, RefusedChangesFlushNothing) {
    FeatureCacheFile cache = open();
    cache.put(kSlots, record_);
    cache.put(0, Record());
    cache.remove(kSlots);
    EXPECT_TRUE(InterposedCalls::get().flushes.empty());
}

TEST_F(FeatureCacheFileTest, RecordsPlacedInARowAreFlushedTogether) {
    FeatureCacheFile cache = open();
    EXPECT_TRUE(cache.place(2, record_));
    EXPECT_TRUE(cache.place(20, Record(kRecord, 9)));
    EXPECT_TRUE(InterposedCalls::get().flushes.empty());
    cache.flushLater();
    EXPECT_THAT(InterposedCalls::get().flushes, ElementsAre(Flush{kFileBytes, MS_ASYNC}));
    Record out;
    EXPECT_TRUE(cache.get(2, out));
    EXPECT_EQ(out, record_);
    EXPECT_TRUE(cache.get(20, out));
    EXPECT_THAT(out, Each(9));
    EXPECT_EQ(cache.count(), 2);
}

TEST_F(FeatureCacheFileTest, PlacingRefusesWhatPuttingRefuses) {
    FeatureCacheFile cache = open();
    EXPECT_FALSE(cache.place(-1, record_));
    EXPECT_FALSE(cache.place(kSlots, record_));
    EXPECT_FALSE(cache.place(0, Record(kRecord - 1)));
    EXPECT_FALSE(cache.place(0, Record(kRecord + 1)));
    EXPECT_FALSE(std::filesystem::exists(path() + ".changed"));
    EXPECT_THAT(readFile(path()), Each('\0'));
}

TEST_F(FeatureCacheFileTest, BeginningAChangeLeavesTheNoteAndChangesNothing) {
    FeatureCacheFile cache = open();
    EXPECT_TRUE(cache.beginChange());
    EXPECT_TRUE(std::filesystem::exists(path() + ".changed"));
    EXPECT_EQ(cache.count(), 0);
}

TEST_F(FeatureCacheFileTest, AnUnmappedFileCannotBeChangedAndGetsNoNote) {
    FeatureCacheFile cache = open();
    cache.close();
    EXPECT_FALSE(cache.beginChange());
    EXPECT_FALSE(std::filesystem::exists(path() + ".changed"));
}

TEST_F(FeatureCacheFileTest, IsInDoubtWhereItHadAnotherSizeAndNoLongerOnceSettled) {
    EXPECT_FALSE(open().isDoubtful());
    EXPECT_FALSE(open().isDoubtful());
    std::filesystem::resize_file(path(), kFileBytes - 1);
    FeatureCacheFile cache = open();
    EXPECT_TRUE(cache.isDoubtful());
    cache.settle();
    EXPECT_FALSE(cache.isDoubtful());
    EXPECT_FALSE(open().isDoubtful());
}

TEST_F(FeatureCacheFileTest, CanBePutInDoubt) {
    FeatureCacheFile cache = open();
    cache.doubt();
    EXPECT_TRUE(cache.isDoubtful());
}

// As on file systems that cannot reserve: a hole would be filled by a write to the mapping.
TEST_F(FeatureCacheFileTest, TakesTheSpaceOfANewFileWhereItCannotBeReserved) {
    InterposedCalls::get().allocationFault = EOPNOTSUPP;
    const FeatureCacheFile cache(path(), 10000, 512);
    EXPECT_TRUE(cache.isMapped());
    struct stat status {};
    ASSERT_EQ(::stat(path().c_str(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, status.st_size);
}

TEST_F(FeatureCacheFileTest, ASignalDoesNotKeepTheSpaceFromBeingTaken) {
    for (const int fault : {0, EOPNOTSUPP}) {
        std::filesystem::remove(path());
        InterposedCalls::get().allocationFault = fault;
        InterposedCalls::get().interruptions = 3;
        InterposedCalls::get().fillingInterruptions = 3;
        EXPECT_TRUE(FeatureCacheFile(path(), 10000, 512).isMapped());
        EXPECT_EQ(InterposedCalls::get().interruptions, 0);
        EXPECT_EQ(InterposedCalls::get().fillingInterruptions, fault == 0 ? 3 : 0);
        struct stat status {};
        ASSERT_EQ(::stat(path().c_str(), &status), 0);
        EXPECT_GE(status.st_blocks * 512, status.st_size);
    }
}

TEST_F(FeatureCacheFileTest, SignalsWithoutEndDoNotHoldUpTheStart) {
    InterposedCalls::get().allocationFault = EINTR;
    EXPECT_TRUE(FeatureCacheFile(path(), 10000, 512).isMapped());
}

TEST_F(FeatureCacheFileTest, ACallThatIsForbiddenCostsNoSearch) {
    InterposedCalls::get().allocationFault = EPERM;
    EXPECT_TRUE(FeatureCacheFile(path(), 10000, 512).isMapped());
}

TEST_F(FeatureCacheFileTest, ADiskThatFailsToReserveIsNotMapped) {
    InterposedCalls::get().allocationFault = EIO;
    const std::string told =
        stderrOf([&] { EXPECT_FALSE(FeatureCacheFile(path(), 10000, 512).isMapped()); });
    EXPECT_EQ(told, "ftruncate: Input/output error\n");
    EXPECT_EQ(std::filesystem::file_size(path()), 0U);
}

// Killed in between, it leaves a file that the next start knows to be unfinished.
TEST_F(FeatureCacheFileTest, AFileHasItsSizeOnlyOnceItIsFilled) {
    InterposedCalls::get().allocationFault = EOPNOTSUPP;
    EXPECT_TRUE(FeatureCacheFile(path(), 10000, 512).isMapped());
    EXPECT_EQ(InterposedCalls::get().sizeAtFilling, 0);
    EXPECT_EQ(std::filesystem::file_size(path()), 5130000U);
}

// What a host prints without looking would else be written over the flags.
TEST_F(FeatureCacheFileTest, KeepsOffTheStandardStreamsOfAHostThatClosedThem) {
    const ChildResult result = inChild([&] {
        ::close(STDERR_FILENO);
        FeatureCacheFile cache = open();
        EXPECT_TRUE(cache.put(0, record_));
        EXPECT_EQ(::write(STDERR_FILENO, "lost", 4), -1);
        EXPECT_TRUE(cache.reload());
        EXPECT_EQ(::write(STDERR_FILENO, "lost", 4), -1);
        EXPECT_EQ(cache.count(), 1);
    });
    EXPECT_EQ(result.exitStatus, 0) << result.out;
}

// In the last free slot, where there is one.
TEST_F(FeatureCacheFileTest, AFreeSlotTellsOfADoubtThatNoNoteCan) {
    std::filesystem::create_symlink(folder_.file("missing/note"), path() + ".changed");
    {
        FeatureCacheFile cache = open();
        EXPECT_TRUE(cache.put(kSlots - 1, record_));
        cache.doubt();
        EXPECT_EQ(cache.count(), 1);
        EXPECT_EQ(cache.flags()[kSlots - 2], FeatureCacheFile::kInDoubt);
    }
    {
        FeatureCacheFile cache = open();
        EXPECT_TRUE(cache.isDoubtful());
        EXPECT_EQ(cache.count(), 1);
        cache.settle();
        EXPECT_FALSE(cache.isDoubtful());
        EXPECT_EQ(cache.flags()[kSlots - 2], 0);
    }
    EXPECT_FALSE(open().isDoubtful());
}

TEST_F(FeatureCacheFileTest, AFullFileHasNoPlaceForADoubt) {
    std::filesystem::create_symlink(folder_.file("missing/note"), path() + ".changed");
    FeatureCacheFile cache = open();
    for (std::int64_t slot = 0; slot < kSlots; ++slot) {
        EXPECT_TRUE(cache.put(slot, record_));
    }
    cache.doubt();
    EXPECT_EQ(cache.count(), int{kSlots});
}

TEST_F(FeatureCacheFileTest, OpensAFileOfAnyYear) {
    { EXPECT_TRUE(open().put(0, record_)); }
    stampIn2040(path());
    EXPECT_EQ(open().count(), 1);
}

// Else the next start would map what was never filled.
TEST_F(FeatureCacheFileTest, AFileThatTheDiskCannotHoldKeepsItsSizeAndTheReasonIsTold) {
    InterposedCalls::get().allocationFault = EOPNOTSUPP;
    InterposedCalls::get().fillingFault = ENOSPC;
    for (int start = 0; start < 2; ++start) {
        const std::string told =
            stderrOf([&] { EXPECT_FALSE(FeatureCacheFile(path(), 10000, 512).isMapped()); });
        EXPECT_EQ(told, "ftruncate: No space left on device\n");
        EXPECT_EQ(std::filesystem::file_size(path()), 0U);
    }
}

TEST_F(FeatureCacheFileTest, AnUnmappedFileIsNotFlushed) {
    FeatureCacheFile cache = open();
    cache.close();
    InterposedCalls::reset();
    cache.flushLater();
    EXPECT_TRUE(InterposedCalls::get().flushes.empty());
}

TEST_F(FeatureCacheFileTest, CloseGivesTheSystemsResultAndThenANegativeOne) {
    FeatureCacheFile cache = open();
    EXPECT_EQ(cache.close(), 0);
    expectRefusal(cache);
    EXPECT_EQ(cache.close(), -1);
    EXPECT_EQ(InterposedCalls::get().flushes.size(), 1u);
}

TEST_F(FeatureCacheFileTest, DestructionFlushesAndClosesTheDescriptor) {
    const auto descriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = descriptors();
    { const FeatureCacheFile cache = open(); }
    EXPECT_EQ(descriptors(), before);
    EXPECT_THAT(InterposedCalls::get().flushes, ElementsAre(Flush{kFileBytes, MS_SYNC}));
}

TEST_F(FeatureCacheFileTest, AFileThatWasCutRefusesEverythingEvenIfItGrowsAgain) {
    FeatureCacheFile cache = open();
    cache.put(0, record_);
    std::filesystem::resize_file(path(), kFileBytes - 1);
    ScriptedLog::clear();
    EXPECT_FALSE(cache.isMapped());
    expectRefusal(cache);
    std::filesystem::resize_file(path(), kFileBytes);
    expectRefusal(cache);
    EXPECT_THAT(
        ScriptedLog::lines(),
        ElementsAre(LogLine{
            6, "database",
            "feature cache file was cut short: not used until the process starts anew\r\n"}));
    EXPECT_TRUE(cache.reload());
    EXPECT_TRUE(cache.isMapped());
    EXPECT_EQ(cache.count(), 1);
}

TEST_F(FeatureCacheFileTest, ReloadingAFileThatIsTooShortMapsNothing) {
    FeatureCacheFile cache = open();
    cache.close();
    std::filesystem::resize_file(path(), kFileBytes - 1);
    cache.reload();
    expectRefusal(cache);
}

TEST_F(FeatureCacheFileTest, LeavingTheMappingToTheProcessWaitsForNothing) {
    FeatureCacheFile cache = open();
    const std::uint8_t* const flags = cache.flags();
    cache.put(0, record_);
    cache.leaveMapped();
    EXPECT_EQ(cache.close(), 0);
    EXPECT_THAT(InterposedCalls::get().flushes, ElementsAre(Flush{kFileBytes, MS_ASYNC}));
    EXPECT_EQ(flags[0], 1);
}

TEST_F(FeatureCacheFileTest, ReloadMapsTheSamePathAgain) {
    FeatureCacheFile cache = open();
    cache.put(5, record_);
    EXPECT_TRUE(cache.reload());
    EXPECT_THAT(InterposedCalls::get().flushes,
                ElementsAre(Flush{kFileBytes, MS_ASYNC}, Flush{kFileBytes, MS_SYNC}));
    Record out;
    EXPECT_TRUE(cache.get(5, out));
    EXPECT_EQ(out, record_);
    EXPECT_TRUE(cache.put(6, record_));
    EXPECT_EQ(readFile(path())[6], 1);
}

TEST_F(FeatureCacheFileTest, ReloadOpensAClosedCache) {
    FeatureCacheFile cache = open();
    cache.put(5, record_);
    cache.close();
    EXPECT_TRUE(cache.reload());
    EXPECT_EQ(cache.count(), 1);
}

TEST_F(FeatureCacheFileTest, ReloadDoesNotResize) {
    FeatureCacheFile cache = open();
    std::filesystem::resize_file(path(), kFileBytes + 10);
    EXPECT_TRUE(cache.reload());
    EXPECT_EQ(std::filesystem::file_size(path()), kFileBytes + 10);
}

TEST_F(FeatureCacheFileTest, ReloadDoesNotCreateTheFile) {
    FeatureCacheFile cache = open();
    std::filesystem::remove(path());
    EXPECT_EQ(stderrOf([&] { EXPECT_FALSE(cache.reload()); }),
              "reload open: No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(path()));
    expectRefusal(cache);
}

TEST_F(FeatureCacheFileTest, ReloadReportsWhatCannotBeMapped) {
    FeatureCacheFile cache = open();
    std::filesystem::remove(path());
    ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(stderrOf([&] { EXPECT_FALSE(cache.reload()); }), "reload mmap: No such device\n");
    expectRefusal(cache);
    EXPECT_EQ(cache.close(), -1);
}

TEST_F(FeatureCacheFileTest, ReportsAFileThatCannotBeOpened) {
    std::unique_ptr<FeatureCacheFile> cache;
    const std::string path = folder_.file("missing/cache.bin");
    EXPECT_EQ(stderrOf([&] { cache = std::make_unique<FeatureCacheFile>(path, kSlots, kRecord); }),
              "open: No such file or directory\n");
    expectRefusal(*cache);
    EXPECT_EQ(cache->close(), -1);
}

TEST_F(FeatureCacheFileTest, ReportsAFileThatCannotBeSized) {
    std::unique_ptr<FeatureCacheFile> cache;
    ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(
        stderrOf([&] { cache = std::make_unique<FeatureCacheFile>(path(), kSlots, kRecord); }),
        "ftruncate: Invalid argument\n");
    expectRefusal(*cache);
    EXPECT_EQ(cache->close(), -1);
}

TEST_F(FeatureCacheFileTest, ReportsAFileThatCannotBeMapped) {
    // Sparse memory, larger than any address space.
    const int memory = ::memfd_create("cache", MFD_CLOEXEC);
    ASSERT_GE(memory, 0);
    const std::string path = "/proc/self/fd/" + std::to_string(memory);
    std::unique_ptr<FeatureCacheFile> cache;
    EXPECT_EQ(
        stderrOf([&] { cache = std::make_unique<FeatureCacheFile>(path, 1u << 31, 1u << 30); }),
        "mmap: Cannot allocate memory\n");
    expectRefusal(*cache);
    EXPECT_EQ(cache->close(), -1);
    ::close(memory);
}

TEST_F(FeatureCacheFileTest, NoSlotsOrNoRecordTouchesNoFile) {
    for (const auto& [slots, record] : {std::pair{0u, 512u}, std::pair{10000u, 0u}}) {
        FeatureCacheFile cache(path(), slots, record);
        expectRefusal(cache);
        EXPECT_FALSE(std::filesystem::exists(path()));
    }
}

}  // namespace
}  // namespace brairu::test
