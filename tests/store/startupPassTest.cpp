#include <sys/mman.h>

#include <filesystem>

#include "storeTest.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kRebuild = "######### pva search rebuild ############\r\n";
constexpr const char* kReady = "pva search init succ\r\n";
constexpr const char* kSelect = "SELECT id, vector_data FROM userInfo;";

struct Output {
    std::string out;
    std::string err;
};

class StartupPassTest : public StoreTest {
protected:
    Output run() {
        Output output;
        output.err = stderrOf([&] { output.out = stdoutOf([&] { store().runStartupPass(); }); });
        return output;
    }
    Output restart(int centres) {
        construct(centres);
        return run();
    }
    void startWithPalms() {
        start();
        ASSERT_TRUE(store().insertPalm(keyOf(1, 1), templateOf(1)));
        ASSERT_TRUE(store().insertPalm(keyOf(1, 2), templateOf(2)));
        takeLog();
    }

    // A cache of one centre a palm in which the wider flag area of three centres covers as many
    // ones as two palms make slots.
    void writeCacheThatMisleadsThreeCentres() {
        std::string file(5130000, '\0');
        for (const std::size_t place : {0u, 1u, 10020u, 10369u, 10645u, 10994u}) {
            file[place] = 1;
        }
        folder_.write("palms.bin", file);
    }
};

// ---- Construction

TEST_F(StartupPassTest, RewritesTheOldSuffixOfTheIndexPath) {
    for (const auto& [configured, used] :
         std::vector<std::pair<std::string, std::string>>{{"x.usearch", "x.bin"},
                                                          {"y.usearch.old", "y.usearch.old"},
                                                          {"z.USEARCH", "z.USEARCH"},
                                                          {"index.dat", "index.dat"},
                                                          {"usearch", "usearch"},
                                                          {"a.usearch.usearch", "a.usearch.bin"},
                                                          {".usearch", ".bin"}}) {
        config_["database"]["search_index_path"] = folder_.file(configured);
        construct();
        EXPECT_TRUE(std::filesystem::exists(folder_.file(used))) << configured;
        if (configured != used) {
            EXPECT_FALSE(std::filesystem::exists(folder_.file(configured))) << configured;
        }
    }
}

TEST_F(StartupPassTest, ANameThatIsTheSuffixAloneIsRewritten) {
    std::filesystem::current_path(folder_.path());
    config_["database"]["search_index_path"] = ".usearch";
    construct();
    EXPECT_TRUE(std::filesystem::exists(folder_.file(".bin")));
    std::filesystem::current_path("/");
}

TEST_F(StartupPassTest, SizesTheCacheByTheCentres) {
    construct(3);
    EXPECT_EQ(std::filesystem::file_size(cachePath()), 30000u * 513);
    EXPECT_EQ(store().cache()->capacity(), 30000u);
    EXPECT_EQ(store().cache()->recordSize(), 512u);
    EXPECT_EQ(store().centreCount(), 3);
}

TEST_F(StartupPassTest, CountsTheOccupiedSlotsAtConstruction) {
    startWithPalms();
    construct();
    EXPECT_EQ(store().featureCount(), 2);
    EXPECT_EQ(store().palmCount(), 2);
}

TEST_F(StartupPassTest, SettingsOfAWrongTypeLeaveTheConstructionInOrder) {
    const auto faultOf = [&] {
        try {
            construct();
        } catch (const nlohmann::json::exception& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    config_["feature"]["feature_len"] = nullptr;
    EXPECT_EQ(faultOf(), "[json.exception.type_error.302] type must be number, but is null");
    config_["database"]["search_index_path"] = 1;
    EXPECT_EQ(faultOf(), "[json.exception.type_error.302] type must be string, but is number");
    config_["database"] = "text";
    EXPECT_THROW(TemplateStore{config_}, nlohmann::json::type_error);
    EXPECT_FALSE(std::filesystem::exists(cachePath()));
}

TEST_F(StartupPassTest, CentreCountsMayBeFractionsAndBooleans) {
    config_["database"]["regis_center_count"] = 2.9;
    EXPECT_EQ(TemplateStore(config_).centreCount(), 2);
    config_["database"]["regis_center_count"] = true;
    EXPECT_EQ(TemplateStore(config_).centreCount(), 1);
}

TEST_F(StartupPassTest, CentreCountsThatMakeNoFileLeaveTheCacheUnmapped) {
    for (const int centres : {0, -1, -2147483647, 429497, 2147483647}) {
        construct(centres);
        EXPECT_FALSE(store().cache()->isMapped()) << centres;
        EXPECT_EQ(store().cache()->capacity(), 0u);
        EXPECT_EQ(store().palmCount(), 0);
    }
    EXPECT_FALSE(std::filesystem::exists(cachePath()));
}

TEST_F(StartupPassTest, FeatureLengthsBelowOneLeaveTheCacheUnmapped) {
    for (const int length : {0, -512}) {
        config_["feature"]["feature_len"] = length;
        construct();
        EXPECT_FALSE(store().cache()->isMapped());
    }
}

TEST_F(StartupPassTest, KeepsItsCopyOfTheConfigurationUntilRefreshed) {
    construct();
    config_["database"]["database_path"] = "elsewhere";
    EXPECT_EQ(store().config()["database"]["database_path"], databasePath());
    store().config() = config_;
    EXPECT_EQ(store().config()["database"]["database_path"], "elsewhere");
}

// ---- A normal start

TEST_F(StartupPassTest, AnEmptyStoreIsReadyWithoutRebuild) {
    construct();
    const Output output = run();
    EXPECT_EQ(output.out, "Table userInfo is empty.\n");
    EXPECT_EQ(output.err, "");
    EXPECT_THAT(takeLog(), ElementsAre(kReady));
}

TEST_F(StartupPassTest, CreatesTheTableWithItsExactText) {
    start();
    EXPECT_EQ(database().number(
                  "SELECT COUNT(*) FROM sqlite_master WHERE sql = 'CREATE TABLE userInfo (id "
                  "INTEGER PRIMARY KEY AUTOINCREMENT, userid UINT64, palmindex INT,vector_data "
                  "BLOB,learn_count INT)';"),
              1);
}

TEST_F(StartupPassTest, ARestartFindsEverythingAndRewritesNothing) {
    startWithPalms();
    restart(1);
    construct();
    InterposedCalls::reset();
    const Output output = run();
    EXPECT_EQ(output.out, "Table userInfo has data.\n");
    EXPECT_EQ(output.err, "");
    EXPECT_THAT(takeLog(), ElementsAre(kReady));
    EXPECT_THAT(InterposedCalls::get().flushes, IsEmpty());
    EXPECT_EQ(store().featureCount(), 2);
    EXPECT_TRUE(store().existsKey(keyOf(1, 2)));
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(2)));
}

TEST_F(StartupPassTest, ARepeatedPassClosesTheEarlierConnection) {
    startWithPalms();
    run();
    run();
    EXPECT_THAT(takeLog(), ElementsAre(kReady, kReady));
    EXPECT_EQ(InterposedCalls::get().liveConnections, 1);
    EXPECT_TRUE(store().insertPalm(keyOf(1, 3), templateOf(3)));
}

TEST_F(StartupPassTest, ARepeatedPassTrustsTheCountInMemory) {
    startWithPalms();
    FeatureCacheFile(cachePath(), 10000, 512).remove(0);
    run();
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_EQ(store().featureCount(), 1);
    run();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
}

// ---- Rebuild

TEST_F(StartupPassTest, ADeletedCacheFileIsRebuilt) {
    startWithPalms();
    store_.reset();
    std::filesystem::remove(cachePath());
    EXPECT_EQ(restart(1).err, "");
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(1)));
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(2)));
}

TEST_F(StartupPassTest, ARebuildFlushesAllRowsAtOnce) {
    start(3);
    ASSERT_TRUE(store().insertPalm(keyOf(1, 1), rowOf({1, 2, 3})));
    ASSERT_TRUE(store().insertPalm(keyOf(1, 2), rowOf({4, 5, 6})));
    store_.reset();
    std::filesystem::remove(cachePath());
    std::filesystem::remove(cachePath() + ".changed");
    construct(3);
    InterposedCalls::reset();
    run();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_THAT(InterposedCalls::get().flushes,
                ElementsAre(Flush{30000, MS_SYNC}, Flush{30000 * 513, MS_ASYNC}));
}

TEST_F(StartupPassTest, ARebuildDoesNotTouchACacheThatWasCut) {
    startWithPalms();
    std::filesystem::resize_file(cachePath(), 0);
    run();
    EXPECT_THAT(takeLog(), ElementsAre(HasSubstr("feature cache file was cut short")));
    run();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
    EXPECT_EQ(store().featureCount(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(cachePath()));
}

TEST_F(StartupPassTest, SlotsWithoutRowAreFreedByTheRebuild) {
    startWithPalms();
    FeatureCacheFile(cachePath(), 10000, 512).put(7, std::vector<std::int8_t>(512, 1));
    restart(1);
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
}

TEST_F(StartupPassTest, ATruncatedCacheFileIsRebuilt) {
    startWithPalms();
    store_.reset();
    std::filesystem::resize_file(cachePath(), 1);
    restart(1);
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(2)));
}

TEST_F(StartupPassTest, MoreCentresRepeatTheFirstTemplate) {
    startWithPalms();
    restart(3);
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_EQ(database().blob(1), rowOf({1, 1, 1}));
    EXPECT_EQ(database().blob(2), rowOf({2, 2, 2}));
    EXPECT_EQ(std::filesystem::file_size(cachePath()), 30000u * 513);
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2, 3, 4, 5));
    for (const int slot : {3, 4, 5}) {
        EXPECT_EQ(recordOf(slot), searchBlockOf(templateOf(2)));
    }
    EXPECT_EQ(store().palmCount(), 2);
}

TEST_F(StartupPassTest, FlagsOfAnotherLayoutAreNotTrustedEvenIfTheirNumberIsRight) {
    startWithPalms();
    store_.reset();
    writeCacheThatMisleadsThreeCentres();
    construct(3);
    EXPECT_EQ(store().featureCount(), 0);
    run();
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2, 3, 4, 5));
    run();
    EXPECT_THAT(takeLog(), ElementsAre(kReady));
}

TEST_F(StartupPassTest, FlagsOfAnotherLayoutAreNotTrustedByTheStartAfterOneThatWasCutShort) {
    startWithPalms();
    store_.reset();
    writeCacheThatMisleadsThreeCentres();
    construct(3);
    store_.reset();
    construct(3);
    run();
    EXPECT_THAT(takeLog(), testing::IsSupersetOf({kRebuild, kReady}));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST_F(StartupPassTest, AFileThatWasOnlyCutOrExtendedIsTrusted) {
    startWithPalms();
    for (const std::uintmax_t size : {5130000 + 4096, 5130000 - 4096}) {
        store_.reset();
        takeLog();
        std::filesystem::resize_file(folder_.file("palms.bin"), size);
        construct(1);
        run();
        EXPECT_THAT(takeLog(), ElementsAre(kReady)) << size;
    }
}

TEST_F(StartupPassTest, AnEmptyTableNeedsNoRebuildInAResizedCache) {
    start(1);
    restart(3);
    EXPECT_THAT(takeLog(), ElementsAre(kReady));
}

TEST_F(StartupPassTest, FewerCentresCutTheRow) {
    start(3);
    ASSERT_TRUE(store().insertPalm(keyOf(1, 1), rowOf({1, 2, 3})));
    restart(2);
    EXPECT_EQ(database().blob(1), rowOf({1, 2}));
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
}

TEST_F(StartupPassTest, ARowBeyondTheCacheForcesTheRebuildAtEveryStart) {
    startWithPalms();
    database().insertRow(10001, 1, 3, templateOf(3));
    for (int round = 0; round < 2; ++round) {
        restart(1);
        EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
        EXPECT_EQ(store().featureCount(), 2);
    }
}

TEST_F(StartupPassTest, AnotherFeatureLengthMakesTheRebuildRefuseEveryRecord) {
    startWithPalms();
    config_["feature"]["feature_len"] = 256;
    store_.reset();
    std::filesystem::remove(cachePath());
    restart(1);
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
    EXPECT_EQ(store().featureCount(), 0);
}

TEST_F(StartupPassTest, RowsWithNegativeIdsAreNotMirrored) {
    start();
    database().insertRow(-1, 1, 1, templateOf(1));
    restart(1);
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
    EXPECT_THAT(occupiedSlots(), IsEmpty());
}

TEST_F(StartupPassTest, ARebuildThatBreaksOffIsReported) {
    startWithPalms();
    store_.reset();
    std::filesystem::remove(cachePath());
    construct();
    // The second run of the statement is the rebuild's.
    InterposedCalls::get().beforeStep = [steps = 0](sqlite3_stmt* statement) mutable {
        if (isRunOf(kSelect, statement) && ++steps == 5) {
            sqlite3_interrupt(sqlite3_db_handle(statement));
        }
    };
    EXPECT_EQ(run().err, "查询过程中出错: interrupted\n");
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
    EXPECT_EQ(store().featureCount(), 1);
}

TEST_F(StartupPassTest, ARebuildThatCannotReadTheTableEndsThePass) {
    startWithPalms();
    store_.reset();
    std::filesystem::remove(cachePath());
    construct();
    // The table goes away between the migration and the rebuild.
    InterposedCalls::get().afterExecute = [](sqlite3* connection, const std::string& sql) {
        if (sql == "COMMIT;") {
            sqlite3_exec(connection, "DROP TABLE userInfo;", nullptr, nullptr, nullptr);
        }
    };
    EXPECT_EQ(run().err, "准备查询失败: no such table: userInfo\n");
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
}

// ---- Faults

TEST_F(StartupPassTest, ADatabaseThatCannotBeOpenedLeavesNoConnection) {
    config_["database"]["database_path"] = folder_.file("missing/palms.db");
    construct();
    const Output output = run();
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err,
              "Failed to execute query: out of memory\n"
              "Cannot prepare statement: out of memory\n");
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_EQ(InterposedCalls::get().liveConnections, 0);
    EXPECT_FALSE(store().existsKey(keyOf(1, 1)));
}

TEST_F(StartupPassTest, AFileThatIsNoDatabaseLeavesNoConnection) {
    folder_.write("palms.db", std::string(4096, 'x'));
    construct();
    EXPECT_EQ(run().err,
              "Failed to execute query: out of memory\n"
              "Cannot prepare statement: out of memory\n");
    EXPECT_EQ(InterposedCalls::get().liveConnections, 0);
    EXPECT_EQ(readFile(databasePath()), std::string(4096, 'x'));
}

TEST_F(StartupPassTest, ALockedDatabaseIsOpenedByTheNextPass) {
    startWithPalms();
    construct();
    auto other = database();
    other.run("BEGIN EXCLUSIVE;");
    EXPECT_THAT(run().err, HasSubstr("Cannot prepare statement: "));
    EXPECT_FALSE(store().existsKey(keyOf(1, 1)));
    other.run("ROLLBACK;");
    EXPECT_EQ(run().err, "");
    EXPECT_TRUE(store().existsKey(keyOf(1, 1)));
    EXPECT_THAT(takeLog(), ElementsAre(kReady));
}

TEST_F(StartupPassTest, ARowCountThatCannotBeReadCountsAsNone) {
    startWithPalms();
    construct();
    auto other = database();
    bool released = false;
    auto lock = lockAt("SELECT COUNT(*) FROM userInfo;", other);
    InterposedCalls::get().beforeStep = [&](sqlite3_stmt* statement) {
        lock(statement);
        if (isRunOf(kSelect, statement) && !released) {
            released = true;
            other.run("ROLLBACK;");
        }
    };
    const Output output = run();
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "Failed to execute query: database is locked\n");
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
}

TEST_F(StartupPassTest, ADatabasePathThatIsNoTextLeavesTheConnectionOpen) {
    startWithPalms();
    store().config()["database"]["database_path"] = ConfigDocument::array();
    try {
        store().runStartupPass();
        FAIL() << "no exception";
    } catch (const nlohmann::json::type_error& error) {
        EXPECT_STREQ(error.what(),
                     "[json.exception.type_error.302] type must be string, but is array");
    }
    EXPECT_TRUE(store().existsKey(keyOf(1, 1)));
}

TEST_F(StartupPassTest, WithoutCentresNoBlobIsRewritten) {
    start();
    ASSERT_TRUE(store().insertPalm(keyOf(1, 1), templateOf(1)));
    for (const int centres : {0, -3, 429497, 1000000, 2147483647}) {
        const Output output = restart(centres);
        EXPECT_EQ(output.out, "Table userInfo has data.\n");
        EXPECT_EQ(output.err, "");
        EXPECT_EQ(database().blob(1), templateOf(1)) << centres;
        EXPECT_EQ(store().featureCount(), 0);
    }
    restart(1);
    EXPECT_THAT(takeLog(), ElementsAre(kReady));
}

TEST_F(StartupPassTest, RowsWithoutCentresForceTheRebuild) {
    startWithPalms();
    restart(0);
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild, kReady));
    restart(-1);
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
}

TEST_F(StartupPassTest, WithoutCacheThePassGoesOn) {
    startWithPalms();
    config_["database"]["search_index_path"] = folder_.file("missing/palms.bin");
    const Output output = restart(1);
    EXPECT_EQ(output.err, "");
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
    EXPECT_TRUE(store().existsKey(keyOf(1, 1)));
}

TEST_F(StartupPassTest, AFailedMigrationIsReportedAndThePassGoesOn) {
    startWithPalms();
    database().run(
        "CREATE TRIGGER refuse BEFORE UPDATE ON userInfo WHEN NEW.id = 1 BEGIN "
        "SELECT RAISE(ABORT, 'no'); END;");
    const Output output = restart(2);
    EXPECT_EQ(output.err, "Failed to update vector_data: no\n");
    EXPECT_THAT(takeLog(), ElementsAre(kRebuild));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 2, 3));
}

}  // namespace
}  // namespace brairu::test
