#include "store/changeNote.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "storeTest.h"

namespace brairu::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kRebuild = "######### pva search rebuild ############\r\n";
constexpr const char* kReady = "pva search init succ\r\n";
constexpr std::size_t kCacheBytes = 5130000;

// ---- The note itself

TEST(ChangeNoteTest, IsFoundByTheNextOneAndNotByTheOneThatLeftIt) {
    const TemporaryFolder folder;
    ChangeNote first(folder.file("note"));
    EXPECT_FALSE(first.wasFound());
    EXPECT_TRUE(first.leave());
    EXPECT_FALSE(first.wasFound());
    EXPECT_TRUE(ChangeNote(folder.file("note")).wasFound());
}

TEST(ChangeNoteTest, IsGoneOnceWithdrawnAndCanBeLeftAgain) {
    const TemporaryFolder folder;
    folder.write("note", "");
    ChangeNote note(folder.file("note"));
    note.withdraw();
    EXPECT_FALSE(note.wasFound());
    EXPECT_FALSE(std::filesystem::exists(folder.file("note")));
    note.leave();
    EXPECT_TRUE(std::filesystem::exists(folder.file("note")));
}

TEST(ChangeNoteTest, IsTriedAgainWhereItCouldNotBeLeft) {
    const TemporaryFolder folder;
    ChangeNote note(folder.file("later/note"));
    EXPECT_FALSE(note.leave());
    std::filesystem::create_directory(folder.file("later"));
    EXPECT_TRUE(note.leave());
    EXPECT_TRUE(std::filesystem::exists(folder.file("later/note")));
}

TEST(ChangeNoteTest, IsLeftAgainWhereAnotherProcessTookItAway) {
    const TemporaryFolder folder;
    ChangeNote note(folder.file("note"));
    note.leave();
    std::filesystem::remove(folder.file("note"));
    note.leave();
    EXPECT_TRUE(std::filesystem::exists(folder.file("note")));
}

TEST(ChangeNoteTest, StaysFoundWhereItCannotBeTakenAway) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("note"));
    ChangeNote note(folder.file("note"));
    note.withdraw();
    EXPECT_TRUE(note.wasFound());
}

// ---- The store's use of it

class ChangedCacheTest : public StoreTest {
protected:
    bool hasNote() const { return std::filesystem::exists(notePath()); }
    std::string notePath() const { return cachePath() + ".changed"; }
    void removeNote() const { std::filesystem::remove(notePath()); }

    // Palms 1 and 2 with the rows that belong to them.
    void startWithPalms(int centres = 1) {
        start(centres);
        for (const int palm : {1, 2}) {
            ASSERT_TRUE(store().insertPalm(keyOf(1, palm), rowWith(palm, centres)));
        }
        takeLog();
    }
    static Bytes rowWith(int seed, int centres) {
        Bytes row;
        for (int index = 0; index < centres; ++index) {
            const Bytes one = templateOf(10 * seed + index);
            row.insert(row.end(), one.begin(), one.end());
        }
        return row;
    }
    // What a power cut may do: the number stays, the content does not.
    void spoil(int slot) const {
        const auto capacity = static_cast<std::uint32_t>(kMirroredPalms * centres_);
        FeatureCacheFile(cachePath(), capacity, kBlockBytes)
            .put(slot, std::vector<std::int8_t>(kBlockBytes, 1));
    }
    // The same behind the back of the cache, which leaves neither note nor mark.
    void spoilUnnoted(int slot) const {
        std::fstream file(cachePath(), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(kMirroredPalms * centres_ + slot * static_cast<std::int64_t>(kBlockBytes));
        file << std::string(kBlockBytes, '\1');
    }
    // The flag of one slot, set where that of another was.
    void misplace(int from, int to) const {
        const auto capacity = static_cast<std::uint32_t>(kMirroredPalms * centres_);
        FeatureCacheFile cache(cachePath(), capacity, kBlockBytes);
        cache.remove(from);
        cache.put(to, std::vector<std::int8_t>(kBlockBytes, 1));
    }
};

TEST_F(ChangedCacheTest, AStartThatChangesNothingLeavesNoNote) {
    start();
    EXPECT_FALSE(hasNote());
    EXPECT_FALSE(store().removePalm(1, 1));
    EXPECT_FALSE(hasNote());
}

TEST_F(ChangedCacheTest, TheFirstChangeLeavesTheNoteAndItOutlivesTheProcess) {
    startWithPalms();
    EXPECT_TRUE(hasNote());
    store_.reset();
    EXPECT_TRUE(hasNote());
}

TEST_F(ChangedCacheTest, EveryKindOfChangeLeavesTheNote) {
    const std::array<std::uint8_t, kTemplateBytes> learned{};
    const std::vector<std::function<void()>> changes{
        [&] { store().replaceByKey(keyOf(1, 1), templateOf(3)); },
        [&] { store().writeTemplate(1, 0, learned); },
        [&] { store().removePalm(1, 2); },
        [&] { store().wipeAll(); },
        [&] { store().enrolPalm(keyOf(2, 1), templateOf(4)); },
    };
    startWithPalms();
    for (const auto& change : changes) {
        start();
        ASSERT_FALSE(hasNote());
        change();
        EXPECT_TRUE(hasNote());
    }
}

TEST_F(ChangedCacheTest, ARebuildAndAChangedLayoutLeaveTheNote) {
    startWithPalms();
    start();
    store_.reset();
    std::filesystem::remove(cachePath());
    start();
    EXPECT_TRUE(hasNote());
    start();
    EXPECT_FALSE(hasNote());
    construct(3);
    EXPECT_TRUE(hasNote());
}

TEST_F(ChangedCacheTest, AFoundNoteIsTakenAwayOnceTheCacheIsRightAndOnTheDisk) {
    startWithPalms();
    construct();
    InterposedCalls::reset();
    bool notedAtFlush = false;
    InterposedCalls::get().beforeStep = [&](sqlite3_stmt*) { notedAtFlush = hasNote(); };
    store().runStartupPass();
    EXPECT_TRUE(notedAtFlush);
    EXPECT_THAT(InterposedCalls::get().flushes, ElementsAre(Flush{kCacheBytes, MS_SYNC}));
    EXPECT_FALSE(hasNote());
    EXPECT_THAT(takeLog(), ElementsAre(kReady));
}

TEST_F(ChangedCacheTest, WithANoteEveryContentThatDiffersIsRebuilt) {
    for (const int centres : {1, 3}) {
        for (const int slot : {0, 2 * centres - 1}) {
            startWithPalms(centres);
            store_.reset();
            spoil(slot);
            start(centres);
            EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady)) << slot;
            EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(10)));
            EXPECT_EQ(recordOf(2 * centres - 1), searchBlockOf(templateOf(20 + centres - 1)));
            EXPECT_FALSE(hasNote());
            ASSERT_TRUE(store().wipeAll());
        }
    }
}

TEST_F(ChangedCacheTest, WithANoteASlotOfNoPalmIsFreed) {
    startWithPalms();
    store_.reset();
    misplace(1, 7);
    start();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
}

TEST_F(ChangedCacheTest, WithoutANoteTheNumberIsTrusted) {
    startWithPalms();
    store_.reset();
    spoil(1);
    removeNote();
    start();
    EXPECT_THAT(takeLog(), ElementsAre(kReady));
    EXPECT_EQ(recordOf(1), std::vector<std::int8_t>(kBlockBytes, 1));
}

TEST_F(ChangedCacheTest, ARepeatedPassDoesNotCompare) {
    startWithPalms();
    start();
    spoil(1);
    store().runStartupPass();
    EXPECT_THAT(takeLog(), ElementsAre(kReady, kReady));
}

TEST_F(ChangedCacheTest, APassThatCannotReadTheTableLeavesTheDoubtToTheNext) {
    startWithPalms();
    store_.reset();
    spoil(1);
    construct();
    {
        auto other = database();
        other.run("BEGIN EXCLUSIVE;");
        store().runStartupPass();
        EXPECT_TRUE(hasNote());
        EXPECT_THAT(takeLog(), IsEmpty());
    }
    store().runStartupPass();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_FALSE(hasNote());
}

TEST_F(ChangedCacheTest, ARebuildThatBreaksOffLeavesTheDoubtToTheNextPass) {
    startWithPalms();
    store_.reset();
    spoil(0);
    construct();
    InterposedCalls::get().beforeStep = [steps = 0](sqlite3_stmt* statement) mutable {
        if (isRunOf("SELECT id, vector_data FROM userInfo;", statement) && ++steps == 5) {
            sqlite3_interrupt(sqlite3_db_handle(statement));
        }
    };
    store().runStartupPass();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
    EXPECT_TRUE(hasNote());
    InterposedCalls::get().beforeStep = nullptr;
    store().runStartupPass();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_FALSE(hasNote());
}

TEST_F(ChangedCacheTest, ANoteThatCannotBeLeftStopsNothing) {
    std::filesystem::create_directory(folder_.file("palms.bin.changed"));
    startWithPalms();
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
    EXPECT_EQ(database().blob(2), templateOf(20));
}

// Cut where the flags end: the number of palms is right, and every record is zeros.
TEST_F(ChangedCacheTest, ACacheThatWasCutIsComparedWithoutANote) {
    startWithPalms();
    store_.reset();
    removeNote();
    std::filesystem::resize_file(cachePath(), 10000);
    start();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(10)));
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(20)));
    EXPECT_FALSE(hasNote());
}

// While another process reads, as a backup does, the table cannot be changed.
class RefusedChangeTest : public ChangedCacheTest {
protected:
    RefusedChangeTest() { startWithPalms(); }

    void expectRefused(const std::function<bool()>& change) {
        {
            auto other = database();
            other.run("BEGIN; SELECT id FROM userInfo;");
            EXPECT_FALSE(change());
        }
        takeLog();
    }
    // What a deinit_pva and an init_pva do.
    void expectMendedByTheNextPass() {
        store().runStartupPass();
        EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
        EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
        EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(10)));
        EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(20)));
        EXPECT_EQ(store().featureCount(), 2);
        store().runStartupPass();
        EXPECT_THAT(takeLog(), ElementsAre(kReady));
    }
};

TEST_F(RefusedChangeTest, ADeletionIsUndoneInTheCacheByTheNextPass) {
    expectRefused([&] { return store().removePalm(1, 1); });
    EXPECT_THAT(occupiedSlots(), ElementsAre(1));
    expectMendedByTheNextPass();
}

TEST_F(RefusedChangeTest, AnUpdateIsUndoneInTheCacheByTheNextPass) {
    expectRefused([&] { return store().replaceByKey(keyOf(1, 2), templateOf(9)); });
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(9)));
    expectMendedByTheNextPass();
}

TEST_F(RefusedChangeTest, AnEnrolmentLeavesNoGhostAfterTheNextPass) {
    expectRefused([&] {
        return store().enrolPalm(keyOf(2, 1), templateOf(9)) ==
               TemplateStore::EnrolOutcome::committed;
    });
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2));
    expectMendedByTheNextPass();
}

TEST_F(RefusedChangeTest, AnAdditionLeavesNoGhostAfterTheNextPass) {
    expectRefused([&] { return store().insertPalm(keyOf(2, 1), templateOf(9)); });
    expectMendedByTheNextPass();
}

TEST_F(RefusedChangeTest, LearningIsUndoneInTheCacheByTheNextPass) {
    const std::array<std::uint8_t, kTemplateBytes> learned{};
    expectRefused([&] { return store().writeTemplate(1, 0, learned); });
    expectMendedByTheNextPass();
}

// A folder that takes no new file keeps out the note and SQLite's journal alike.
class UnnotedRefusalTest : public RefusedChangeTest {
protected:
    UnnotedRefusalTest() { keepOutTheNote(); }

    void keepOutTheNote() const {
        removeNote();
        std::filesystem::create_symlink(folder_.file("missing/note"), notePath());
    }

    void expectMendedByTheNextProcess() {
        EXPECT_FALSE(hasNote());
        start();
        EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
        EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
        EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(10)));
        EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(20)));
        start();
        EXPECT_THAT(takeLog(), ElementsAre(kReady));
        EXPECT_FALSE(store().cache()->isDoubtful());
    }
};

TEST_F(UnnotedRefusalTest, AnUpdateIsUndoneInTheCacheByTheNextProcess) {
    expectRefused([&] { return store().replaceByKey(keyOf(1, 2), templateOf(9)); });
    expectMendedByTheNextProcess();
}

TEST_F(UnnotedRefusalTest, LearningIsUndoneInTheCacheByTheNextProcess) {
    const std::array<std::uint8_t, kTemplateBytes> learned{};
    expectRefused([&] { return store().writeTemplate(1, 0, learned); });
    expectMendedByTheNextProcess();
}

// The numbers of palms are right by chance.
TEST_F(UnnotedRefusalTest, ADeletionAndAnEnrolmentAreUndoneInTheCacheByTheNextProcess) {
    expectRefused([&] { return store().removePalm(1, 1); });
    expectRefused([&] { return store().insertPalm(keyOf(2, 1), templateOf(9)); });
    EXPECT_THAT(occupiedSlots(), ElementsAre(1, 2));
    expectMendedByTheNextProcess();
}

TEST_F(UnnotedRefusalTest, IsRememberedThroughLaterEnrolments) {
    expectRefused([&] { return store().replaceByKey(keyOf(1, 2), templateOf(9)); });
    ASSERT_TRUE(store().insertPalm(keyOf(1, 3), templateOf(30)));
    takeLog();
    start();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(20)));
}

// The numbers of palms differ; then not all of the new cache reaches the disk.
TEST_F(UnnotedRefusalTest, ARebuildThatIsBrokenOffIsRepeatedByTheNextProcess) {
    store_.reset();
    database().run("DELETE FROM userInfo WHERE palmindex = 1;");
    start();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    store_.reset();
    spoilUnnoted(1);
    start();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(20)));
}

TEST_F(UnnotedRefusalTest, AChangeOfTheLastFreeSlotsLeavesTheMark) {
    database().run("UPDATE sqlite_sequence SET seq = 9999;");
    ASSERT_TRUE(store().insertPalm(keyOf(1, 3), templateOf(30)));
    ASSERT_TRUE(store().removePalm(1, 3));
    EXPECT_EQ(store().cache()->flags()[9999], FeatureCacheFile::kInDoubt);
}

// As if the process had been killed before the table refused.
TEST_F(UnnotedRefusalTest, AChangeThatIsBrokenOffIsUndoneByTheNextProcess) {
    ASSERT_TRUE(store().insertPalm(keyOf(1, 3), templateOf(30)));
    ASSERT_TRUE(store().removePalm(1, 3));
    takeLog();
    store_.reset();
    misplace(1, 1);
    expectMendedByTheNextProcess();
}

// The first start meets a table that it cannot read.
TEST_F(UnnotedRefusalTest, ACutCacheIsRememberedThroughAStartThatCannotRead) {
    store_.reset();
    std::filesystem::resize_file(cachePath(), 10000);
    {
        auto other = database();
        other.run("BEGIN EXCLUSIVE;");
        start();
    }
    takeLog();
    expectMendedByTheNextProcess();
}

TEST_F(UnnotedRefusalTest, IsUndoneByTheNextPassOfTheSameProcess) {
    expectRefused([&] { return store().replaceByKey(keyOf(1, 2), templateOf(9)); });
    expectMendedByTheNextPass();
}

TEST_F(UnnotedRefusalTest, OfARowOfTemplatesIsUndoneByTheNextProcess) {
    ASSERT_TRUE(store().wipeAll());
    startWithPalms(3);
    keepOutTheNote();
    expectRefused([&] { return store().replaceByKey(keyOf(1, 2), rowOf({7, 8, 9})); });
    start(3);
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_EQ(recordOf(3), searchBlockOf(templateOf(20)));
    EXPECT_EQ(recordOf(5), searchBlockOf(templateOf(22)));
}

TEST_F(ChangedCacheTest, TheNoteLiesBesideTheFileOfTheRewrittenName) {
    config_["database"]["search_index_path"] = folder_.file("old.usearch");
    start();
    ASSERT_TRUE(store().insertPalm(keyOf(1, 1), templateOf(1)));
    EXPECT_TRUE(std::filesystem::exists(folder_.file("old.bin.changed")));
}

}  // namespace
}  // namespace brairu::test
