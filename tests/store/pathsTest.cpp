// Where the files of a store lie, whatever the process does meanwhile and whatever names them.
#include <filesystem>
#include <fstream>

#include "storeTest.h"
#include "support/fileTimes.h"

namespace brairu::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr const char* kReady = "pva search init succ\r\n";
constexpr const char* kNamesDatabase =
    "search_index_path names the database: there is no search\r\n";

// A working directory for as long as the object lives.
class WorkingFolder {
public:
    explicit WorkingFolder(const std::filesystem::path& folder)
        : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(folder);
    }
    ~WorkingFolder() { std::filesystem::current_path(before_); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

private:
    std::filesystem::path before_;
};

class MovingProcess : public StoreTest {
protected:
    // A store over relative paths in a process that then goes elsewhere.
    MovingProcess() : first_(folder_.path()) {
        config_["database"]["database_path"] = "palms.db";
        config_["database"]["search_index_path"] = "palms.bin";
        start();
        second_.emplace(elsewhere_.path());
    }

    TemporaryFolder elsewhere_;
    WorkingFolder first_;
    std::optional<WorkingFolder> second_;
};

TEST_F(MovingProcess, LeavesTheNoteBesideTheCache) {
    ASSERT_TRUE(store().insertPalm(keyOf(1, 1), templateOf(1)));
    EXPECT_TRUE(std::filesystem::exists(cachePath() + ".changed"));
    EXPECT_TRUE(std::filesystem::is_empty(elsewhere_.path()));
}

TEST_F(MovingProcess, WipesAndEnrolsInTheSameDatabase) {
    ASSERT_TRUE(store().insertPalm(keyOf(1, 1), templateOf(1)));
    ASSERT_TRUE(store().wipeAll());
    ASSERT_TRUE(store().insertPalm(keyOf(1, 2), templateOf(2)));
    EXPECT_TRUE(std::filesystem::is_empty(elsewhere_.path()));
    EXPECT_EQ(database().number("SELECT palmindex FROM userInfo;"), 2);
}

TEST_F(MovingProcess, RemovesItsOwnIndexFileAndNoOtherOfThatName) {
    std::ofstream(elsewhere_.path() / "palms.bin") << "another";
    ASSERT_TRUE(store().wipeAll());
    EXPECT_THAT(InterposedCalls::get().commands, ElementsAre("rm -f " + cachePath()));
    EXPECT_TRUE(std::filesystem::exists(elsewhere_.path() / "palms.bin"));
}

TEST_F(MovingProcess, NamesTheIndexFileAsConfiguredWhereItStayed) {
    second_.reset();
    ASSERT_TRUE(store().wipeAll());
    EXPECT_THAT(InterposedCalls::get().commands, ElementsAre("rm -f palms.bin"));
}

TEST_F(MovingProcess, StartsAgainOnTheSameDatabase) {
    ASSERT_TRUE(store().insertPalm(keyOf(1, 1), templateOf(1)));
    takeLog();
    store().runStartupPass();
    EXPECT_THAT(takeLog(), ElementsAre(kReady));
    EXPECT_EQ(store().featureCount(), 1);
    EXPECT_TRUE(std::filesystem::is_empty(elsewhere_.path()));
}

class CacheNamedAsDatabase : public StoreTest {
protected:
    // One palm in an ordinary store; then the cache is given this path.
    void nameTheCache(const std::string& path) {
        start();
        ASSERT_TRUE(store().insertPalm(keyOf(1, 1), templateOf(1)));
        store_.reset();
        config_["database"]["search_index_path"] = path;
    }
    void expectUnharmed() {
        start();
        EXPECT_THAT(takeLog(), Contains(kNamesDatabase));
        EXPECT_FALSE(store().cache()->isMapped());
        EXPECT_EQ(store().featureCount(), 0);
        EXPECT_EQ(database().blob(1), templateOf(1));
    }
};

TEST_F(CacheNamedAsDatabase, LeavesTheDatabaseAlone) {
    nameTheCache(databasePath());
    expectUnharmed();
}

TEST_F(CacheNamedAsDatabase, IsSeenThroughOtherSpellingsAndLinks) {
    nameTheCache((folder_.path() / "." / "palms.db").string());
    expectUnharmed();
    std::filesystem::create_symlink(databasePath(), folder_.file("link"));
    config_["database"]["search_index_path"] = folder_.file("link");
    expectUnharmed();
}

TEST_F(CacheNamedAsDatabase, IsSeenInAFileOfAnyYear) {
    std::filesystem::create_symlink(databasePath(), folder_.file("link"));
    nameTheCache(folder_.file("link"));
    store_.reset();
    stampIn2040(databasePath());
    construct();
    EXPECT_THAT(takeLog(), Contains(kNamesDatabase));
}

TEST_F(CacheNamedAsDatabase, IsNotTakenAwayByAWipe) {
    nameTheCache(databasePath());
    start();
    ASSERT_TRUE(store().wipeAll());
    ASSERT_TRUE(store().insertPalm(keyOf(1, 2), templateOf(2)));
    EXPECT_EQ(database().number("SELECT palmindex FROM userInfo;"), 2);
}

TEST_F(CacheNamedAsDatabase, IsSeenBeforeThereIsADatabase) {
    config_["database"]["search_index_path"] = databasePath();
    start();
    EXPECT_THAT(takeLog(), Contains(kNamesDatabase));
    EXPECT_EQ(database().number("SELECT COUNT(*) FROM userInfo;"), 0);
}

TEST_F(CacheNamedAsDatabase, IsNotSeenInADatabaseThatIsNoFile) {
    config_["database"]["database_path"] = ":memory:";
    config_["database"]["search_index_path"] = folder_.file(":memory:");
    start();
    EXPECT_THAT(takeLog(), Not(Contains(kNamesDatabase)));
    EXPECT_TRUE(store().cache()->isMapped());
}

}  // namespace
}  // namespace brairu::test
