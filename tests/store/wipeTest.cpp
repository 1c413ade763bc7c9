#include <filesystem>

#include "storeTest.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WipeTest : public StoreTest {
protected:
    void startWithPalms() {
        start(2);
        ASSERT_TRUE(store().insertPalm(keyOf(1, 1), rowOf({1, 2})));
        ASSERT_TRUE(store().insertPalm(keyOf(1, 2), rowOf({3, 4})));
        takeLog();
    }

    static std::vector<std::string>& commands() { return InterposedCalls::get().commands; }
};

TEST_F(WipeTest, EmptiesTableAndCache) {
    startWithPalms();
    EXPECT_TRUE(store().wipeAll());
    EXPECT_EQ(database().number("SELECT COUNT(*) FROM userInfo;"), 0);
    EXPECT_EQ(store().featureCount(), 0);
    EXPECT_EQ(store().palmCount(), 0);
    EXPECT_EQ(store().cache()->count(), 0);
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(WipeTest, StartsIdsAgainAtOne) {
    startWithPalms();
    ASSERT_TRUE(store().wipeAll());
    EXPECT_EQ(store().lastRowId(), 0);
    ASSERT_TRUE(store().insertPalm(keyOf(5, 5), rowOf({5, 6})));
    EXPECT_EQ(database().blob(1), rowOf({5, 6}));
    EXPECT_EQ(store().featureCount(), 2);
}

TEST_F(WipeTest, RemovesTheConfiguredOldIndexAndKeepsTheCacheFile) {
    const std::string old = folder_.write("palms.usearch", "old");
    config_["database"]["search_index_path"] = old;
    startWithPalms();
    EXPECT_TRUE(store().wipeAll());
    EXPECT_THAT(commands(), ElementsAre("rm -f " + old));
    EXPECT_FALSE(std::filesystem::exists(old));
    EXPECT_THAT(occupiedSlots(), IsEmpty());
    EXPECT_EQ(std::filesystem::file_size(cachePath()), 20000u * 513);
}

TEST_F(WipeTest, RunsNoCommandWhenTheConfiguredFileIsNotThere) {
    config_["database"]["search_index_path"] = folder_.file("palms.usearch");
    startWithPalms();
    EXPECT_TRUE(store().wipeAll());
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(WipeTest, RemovesTheCacheFileItselfWhenThatIsTheConfiguredName) {
    startWithPalms();
    EXPECT_TRUE(store().wipeAll());
    EXPECT_THAT(commands(), ElementsAre("rm -f " + cachePath()));
    EXPECT_FALSE(std::filesystem::exists(cachePath()));
    EXPECT_EQ(store().cache()->count(), 0);
    ASSERT_TRUE(store().insertPalm(keyOf(5, 5), rowOf({5, 6})));
    EXPECT_EQ(store().featureCount(), 2);
    start(2);
    EXPECT_THAT(takeLog(), ElementsAre("######### pva search rebuild ############\r\n",
                                       "pva search init succ\r\n"));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
}

TEST_F(WipeTest, QuotesThePathForTheShell) {
    const std::string innocent = folder_.write("innocent", "stays");
    std::filesystem::create_directory(folder_.file("my palms"));
    const std::string odd = folder_.write("my palms/it's $(rm innocent); rm innocent.usearch", "x");
    std::filesystem::current_path(folder_.path());
    config_["database"]["search_index_path"] = odd;
    startWithPalms();
    EXPECT_TRUE(store().wipeAll());
    EXPECT_FALSE(std::filesystem::exists(odd));
    EXPECT_TRUE(std::filesystem::exists(innocent));
    std::filesystem::current_path("/");
}

TEST_F(WipeTest, AFailedDropChangesNothingElse) {
    startWithPalms();
    auto other = database();
    other.run("BEGIN EXCLUSIVE;");
    EXPECT_FALSE(store().wipeAll());
    other.run("ROLLBACK;");
    EXPECT_THAT(takeLog(), ElementsAre("drop table 失败: database is locked\n"));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(store().featureCount(), 4);
    EXPECT_TRUE(store().existsKey(keyOf(1, 2)));
}

TEST_F(WipeTest, AMissingTableIsReportedByName) {
    startWithPalms();
    database().run("DROP TABLE userInfo;");
    EXPECT_FALSE(store().wipeAll());
    EXPECT_THAT(takeLog(), ElementsAre("drop table 失败: no such table: userInfo\n"));
}

TEST_F(WipeTest, OpensTheDatabaseThatIsConfiguredNow) {
    startWithPalms();
    const std::string moved = folder_.file("moved.db");
    store().config()["database"]["database_path"] = moved;
    EXPECT_TRUE(store().wipeAll());
    ASSERT_TRUE(store().insertPalm(keyOf(9, 9), rowOf({1, 2})));
    EXPECT_EQ(OtherConnection(moved).number("SELECT userid FROM userInfo;"), 9);
}

TEST_F(WipeTest, AFailedReopenEndsTheWipeAndLeavesNoConnection) {
    startWithPalms();
    store().config()["database"]["database_path"] = folder_.file("missing/palms.db");
    EXPECT_FALSE(store().wipeAll());
    EXPECT_THAT(takeLog(), ElementsAre("无法打开数据库: \r\n"));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_EQ(store().featureCount(), 4);
    EXPECT_EQ(store().cache()->count(), 4);
    EXPECT_EQ(InterposedCalls::get().liveConnections, 0);

    EXPECT_FALSE(store().existsKey(keyOf(1, 1)));
    EXPECT_FALSE(store().insertPalm(keyOf(1, 3), rowOf({5, 6})));
    EXPECT_FALSE(store().wipeAll());
    EXPECT_THAT(takeLog(), ElementsAre("drop table 失败: out of memory\n"));
}

TEST_F(WipeTest, TheNextPassOpensTheDatabaseAnew) {
    startWithPalms();
    store().config()["database"]["database_path"] = folder_.file("missing/palms.db");
    ASSERT_FALSE(store().wipeAll());
    store().config() = config_;
    takeLog();
    store().runStartupPass();
    EXPECT_THAT(takeLog(), ElementsAre("######### pva search rebuild ############\r\n",
                                       "pva search init succ\r\n"));
    EXPECT_EQ(store().featureCount(), 0);
    EXPECT_TRUE(store().insertPalm(keyOf(1, 1), rowOf({1, 2})));
}

TEST_F(WipeTest, ADatabasePathThatIsNoTextLeavesAfterTheDrop) {
    startWithPalms();
    store().config()["database"]["database_path"] = 5;
    try {
        store().wipeAll();
        FAIL() << "no exception";
    } catch (const nlohmann::json::type_error& error) {
        EXPECT_STREQ(error.what(),
                     "[json.exception.type_error.302] type must be string, but is "
                     "number");
    }
    EXPECT_FALSE(store().existsKey(keyOf(1, 1)));
    EXPECT_EQ(database().number("SELECT COUNT(*) FROM sqlite_master WHERE name = 'userInfo';"), 0);
    EXPECT_EQ(store().featureCount(), 4);
}

TEST_F(WipeTest, AnIndexPathThatIsNoTextLeavesBeforeTheCacheIsCleared) {
    startWithPalms();
    store().config()["database"]["search_index_path"] = nullptr;
    EXPECT_THROW(store().wipeAll(), nlohmann::json::type_error);
    EXPECT_EQ(store().featureCount(), 4);
}

TEST_F(WipeTest, ATableThatCannotBeMadeIsLoggedAndStillASuccess) {
    startWithPalms();
    store().config()["database"]["database_path"] =
        folder_.write("text.db", std::string(4096, 'x'));
    EXPECT_TRUE(store().wipeAll());
    EXPECT_THAT(takeLog(), ElementsAre("创建表失败: \r\n"));
    EXPECT_EQ(store().featureCount(), 0);
    EXPECT_EQ(InterposedCalls::get().liveConnections, 0);
    EXPECT_FALSE(store().insertPalm(keyOf(1, 1), rowOf({1, 2})));
}

TEST_F(WipeTest, WorksWithoutACache) {
    config_["database"]["search_index_path"] = folder_.file("missing/palms.bin");
    start();
    ASSERT_TRUE(store().insertPalm(keyOf(1, 1), templateOf(1)));
    EXPECT_TRUE(store().wipeAll());
    EXPECT_EQ(database().number("SELECT COUNT(*) FROM userInfo;"), 0);
}

}  // namespace
}  // namespace brairu::test
