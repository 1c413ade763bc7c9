#include <array>

#include "storeTest.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kRefuseInserts =
    "CREATE TRIGGER refuse BEFORE INSERT ON userInfo BEGIN SELECT RAISE(ABORT, 'no'); END;";
constexpr const char* kRefuseUpdates =
    "CREATE TRIGGER refuse BEFORE UPDATE ON userInfo BEGIN SELECT RAISE(ABORT, 'no'); END;";
constexpr const char* kRefuseDeletes =
    "CREATE TRIGGER refuse BEFORE DELETE ON userInfo BEGIN SELECT RAISE(ABORT, 'no'); END;";

class TemplateChangesTest : public StoreTest {
protected:
    bool insert(std::int64_t userid, int palm, const Bytes& row) {
        return store().insertPalm(keyOf(userid, palm), row);
    }

    std::span<const std::uint8_t, kTemplateBytes> asTemplate(const Bytes& bytes) const {
        return std::span<const std::uint8_t, kTemplateBytes>(bytes);
    }
};

// ---- insertPalm

TEST_F(TemplateChangesTest, InsertStoresTheRowAndMirrorsItsTemplates) {
    start(3);
    ASSERT_TRUE(insert(11, 4, rowOf({1, 2, 3})));
    ASSERT_TRUE(insert(12, 5, rowOf({4, 5, 6})));
    auto other = database();
    EXPECT_EQ(other.blob(1), rowOf({1, 2, 3}));
    EXPECT_EQ(other.blob(2), rowOf({4, 5, 6}));
    EXPECT_EQ(other.number("SELECT userid FROM userInfo WHERE id = 2;"), 12);
    EXPECT_EQ(other.number("SELECT palmindex FROM userInfo WHERE id = 2;"), 5);
    EXPECT_EQ(other.number("SELECT learn_count FROM userInfo WHERE id = 2;"), 50);
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2, 3, 4, 5));
    for (int slot = 0; slot < 6; ++slot) {
        EXPECT_EQ(recordOf(slot), searchBlockOf(templateOf(slot + 1)));
    }
    EXPECT_EQ(store().featureCount(), 6);
    EXPECT_EQ(store().palmCount(), 2);
}

TEST_F(TemplateChangesTest, InsertReportsTheTableAndTheSlots) {
    start(3);
    takeLog();
    EXPECT_EQ(stdoutOf([&] {
                  EXPECT_TRUE(insert(1, 1, rowOf({1, 2, 3})));
              }),
              "Table userInfo has data.\n");
    EXPECT_THAT(takeLog(), ElementsAre("添加用户成功, featureCount = 3\r\n"));
}

TEST_F(TemplateChangesTest, InsertedBlobsKeepTheirTypes) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    EXPECT_EQ(database().number("SELECT typeof(userid) = 'integer' AND typeof(palmindex) = "
                                "'integer' AND typeof(vector_data) = 'blob' AND "
                                "typeof(learn_count) = 'integer' FROM userInfo;"),
              1);
}

TEST_F(TemplateChangesTest, IdsAndSlotsAreNeverUsedAgain) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    ASSERT_TRUE(insert(1, 2, templateOf(2)));
    ASSERT_TRUE(store().removePalm(1, 2));
    ASSERT_TRUE(insert(1, 3, templateOf(3)));
    EXPECT_EQ(database().number("SELECT id FROM userInfo WHERE palmindex = 3;"), 3);
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 2));
}

TEST_F(TemplateChangesTest, OneKeyMayHaveTwoRows) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    ASSERT_TRUE(insert(1, 1, templateOf(2)));
    EXPECT_EQ(database().number("SELECT COUNT(*) FROM userInfo;"), 2);
    EXPECT_TRUE(store().existsKey(keyOf(1, 1)));
    EXPECT_EQ(store().palmCount(), 2);
}

TEST_F(TemplateChangesTest, ARefusedInsertLeavesTheMirrorWritten) {
    start();
    database().run(kRefuseInserts);
    takeLog();
    EXPECT_EQ(stderrOf([&] { EXPECT_FALSE(insert(1, 1, templateOf(1))); }), "");
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_THAT(occupiedSlots(), ElementsAre(0));
    EXPECT_EQ(store().featureCount(), 0);
}

TEST_F(TemplateChangesTest, AWriteLockOfAnotherRefusesTheRowOnly) {
    start();
    auto other = database();
    other.run("BEGIN IMMEDIATE;");
    EXPECT_FALSE(insert(1, 1, templateOf(1)));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0));
    other.run("ROLLBACK;");
}

TEST_F(TemplateChangesTest, WithoutTheLastIdNothingIsWritten) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    auto other = database();
    other.run("BEGIN EXCLUSIVE;");
    EXPECT_FALSE(insert(1, 2, templateOf(2)));
    other.run("ROLLBACK;");
    EXPECT_THAT(occupiedSlots(), ElementsAre(0));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(1)));
}

TEST_F(TemplateChangesTest, BindFaultsOfAnInsertAreReported) {
    start();
    const auto reportOf = [&](int parameter) {
        // The last id is found first, with a parameter of its own.
        InterposedCalls::get().beforeStep = [=](sqlite3_stmt*) {
            InterposedCalls::get().failingParameter = parameter;
        };
        const std::string report = stderrOf([&] { EXPECT_FALSE(insert(1, 1, templateOf(1))); });
        InterposedCalls::reset();
        return report;
    };
    EXPECT_EQ(reportOf(1), "绑定 userid 失败: column index out of range\n");
    EXPECT_EQ(reportOf(2), "绑定 palmindex 失败: column index out of range\n");
    EXPECT_EQ(reportOf(3), "绑定 palmindex 失败: column index out of range\n");
    EXPECT_EQ(reportOf(4), "绑定 palmindex 失败: column index out of range\n");
    EXPECT_EQ(database().number("SELECT COUNT(*) FROM userInfo;"), 0);
}

TEST_F(TemplateChangesTest, AnInsertedRowThatCannotBeCountedIsReported) {
    start();
    auto other = database();
    InterposedCalls::get().beforeStep = lockAt("SELECT COUNT(*) FROM userInfo;", other);
    takeLog();
    EXPECT_EQ(stderrOf([&] { EXPECT_TRUE(insert(1, 1, templateOf(1))); }),
              "Failed to execute query: database is locked\n");
    EXPECT_THAT(takeLog(), ElementsAre("添加用户成功, featureCount = 1\r\n"));
}

TEST_F(TemplateChangesTest, RowsBeyondTheCacheAreStoredButNotMirrored) {
    start(2);
    ASSERT_TRUE(insert(1, 1, rowOf({1, 2})));
    database().run("UPDATE sqlite_sequence SET seq = 9999;");
    ASSERT_TRUE(insert(1, 2, rowOf({3, 4})));
    ASSERT_TRUE(insert(1, 3, rowOf({5, 6})));
    EXPECT_EQ(database().blob(10001), rowOf({5, 6}));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 19998, 19999));
    EXPECT_EQ(store().featureCount(), 4);
    EXPECT_EQ(store().palmCount(), 2);
    EXPECT_TRUE(store().replaceByKey(keyOf(1, 3), rowOf({7, 8})));
    EXPECT_TRUE(store().removePalm(1, 3));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 19998, 19999));
}

TEST_F(TemplateChangesTest, TheLargestIdEndsInARefusal) {
    start(3);
    ASSERT_TRUE(insert(1, 1, rowOf({1, 2, 3})));
    database().run("UPDATE sqlite_sequence SET seq = 9223372036854775807;");
    EXPECT_FALSE(insert(1, 2, rowOf({1, 2, 3})));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2));
}

TEST_F(TemplateChangesTest, AnotherFeatureLengthLeavesTheCacheUnwritten) {
    config_["feature"]["feature_len"] = 256;
    start();
    EXPECT_TRUE(insert(1, 1, templateOf(1)));
    EXPECT_EQ(store().featureCount(), 1);
    store().config()["feature"]["feature_len"] = 255;
    EXPECT_TRUE(insert(1, 2, templateOf(2)));
    EXPECT_EQ(store().featureCount(), 1);
}

TEST_F(TemplateChangesTest, AWrongTypedFeatureLengthLeavesBeforeAnythingIsWritten) {
    start();
    store().config()["feature"]["feature_len"] = "512";
    EXPECT_THROW(insert(1, 1, templateOf(1)), nlohmann::json::type_error);
    EXPECT_THAT(occupiedSlots(), IsEmpty());
    EXPECT_EQ(database().number("SELECT COUNT(*) FROM userInfo;"), 0);
}

// ---- replaceByKey, replaceById

TEST_F(TemplateChangesTest, ReplaceByKeyChangesRowAndMirror) {
    start(2);
    ASSERT_TRUE(insert(1, 1, rowOf({1, 2})));
    ASSERT_TRUE(insert(1, 2, rowOf({3, 4})));
    EXPECT_TRUE(store().replaceByKey(keyOf(1, 2), rowOf({5, 6})));
    EXPECT_EQ(database().blob(1), rowOf({1, 2}));
    EXPECT_EQ(database().blob(2), rowOf({5, 6}));
    EXPECT_EQ(recordOf(2), searchBlockOf(templateOf(5)));
    EXPECT_EQ(recordOf(3), searchBlockOf(templateOf(6)));
    EXPECT_EQ(store().featureCount(), 4);
}

TEST_F(TemplateChangesTest, ReplaceOfAnAbsentKeyWritesNothing) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    EXPECT_FALSE(store().replaceByKey(keyOf(1, 2), templateOf(2)));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(1)));
    EXPECT_EQ(database().blob(1), templateOf(1));
}

TEST_F(TemplateChangesTest, ReplaceByKeyChangesEveryRowButTheMirrorOfTheFirst) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    ASSERT_TRUE(insert(1, 1, templateOf(2)));
    EXPECT_TRUE(store().replaceByKey(keyOf(1, 1), templateOf(3)));
    EXPECT_EQ(database().blob(1), templateOf(3));
    EXPECT_EQ(database().blob(2), templateOf(3));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(3)));
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(2)));
}

TEST_F(TemplateChangesTest, ARefusedReplaceLeavesTheMirrorWritten) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    database().run(kRefuseUpdates);
    EXPECT_FALSE(store().replaceByKey(keyOf(1, 1), templateOf(2)));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(2)));
    EXPECT_EQ(database().blob(1), templateOf(1));
}

TEST_F(TemplateChangesTest, ReplaceByIdChangesRowAndMirror) {
    start(2);
    ASSERT_TRUE(insert(1, 1, rowOf({1, 2})));
    EXPECT_TRUE(store().replaceById(1, rowOf({3, 4})));
    EXPECT_EQ(database().blob(1), rowOf({3, 4}));
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(4)));
}

TEST_F(TemplateChangesTest, ReplaceRowOnlyLeavesTheMirror) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    EXPECT_TRUE(store().replaceRowOnly(1, templateOf(2)));
    EXPECT_EQ(database().blob(1), templateOf(2));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(1)));
}

TEST_F(TemplateChangesTest, ReplaceOfIdsThatNoRowHasTouchesNoForeignSlot) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    for (const int id : {0, -1, -2147483647 - 1, 2147483647}) {
        EXPECT_TRUE(store().replaceById(id, templateOf(9)));
    }
    EXPECT_THAT(occupiedSlots(), ElementsAre(0));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(1)));
}

TEST_F(TemplateChangesTest, ReplaceByIdFailsWithItsStatement) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    InterposedCalls::get().failingParameter = 2;
    EXPECT_FALSE(store().replaceRowOnly(1, templateOf(2)));
    InterposedCalls::reset();
    database().run(kRefuseUpdates);
    EXPECT_FALSE(store().replaceById(1, templateOf(2)));
    EXPECT_EQ(database().blob(1), templateOf(1));
}

// ---- writeTemplate

TEST_F(TemplateChangesTest, WriteTemplateChangesOneTemplateInPlace) {
    start(3);
    ASSERT_TRUE(insert(1, 1, rowOf({1, 2, 3})));
    ASSERT_TRUE(insert(1, 2, rowOf({4, 5, 6})));
    takeLog();
    EXPECT_TRUE(store().writeTemplate(2, 1, asTemplate(templateOf(9))));
    EXPECT_EQ(database().blob(2), rowOf({4, 9, 6}));
    EXPECT_EQ(recordOf(4), searchBlockOf(templateOf(9)));
    EXPECT_EQ(recordOf(3), searchBlockOf(templateOf(4)));
    EXPECT_EQ(recordOf(5), searchBlockOf(templateOf(6)));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(TemplateChangesTest, WriteTemplateKeepsOutOfTheNextPalm) {
    start(2);
    ASSERT_TRUE(insert(1, 1, rowOf({1, 2})));
    ASSERT_TRUE(insert(1, 2, rowOf({3, 4})));
    for (const int index : {-1, 2, 3, 2147483647}) {
        EXPECT_FALSE(store().writeTemplate(1, index, asTemplate(templateOf(9))));
    }
    EXPECT_EQ(recordOf(1), searchBlockOf(templateOf(2)));
    EXPECT_EQ(recordOf(2), searchBlockOf(templateOf(3)));
    EXPECT_EQ(database().blob(1), rowOf({1, 2}));
}

TEST_F(TemplateChangesTest, WriteTemplateOfAMissingRowIsLogged) {
    start();
    takeLog();
    EXPECT_FALSE(store().writeTemplate(5, 0, asTemplate(templateOf(1))));
    EXPECT_THAT(takeLog(), ElementsAre("打开数据库更新失败\r\n"));
    EXPECT_THAT(occupiedSlots(), ElementsAre(4));
}

TEST_F(TemplateChangesTest, AFailedBlobWriteIsLoggedWithSqlitesText) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    takeLog();
    InterposedCalls::get().failBlobWrites = true;
    EXPECT_FALSE(store().writeTemplate(1, 0, asTemplate(templateOf(2))));
    EXPECT_THAT(takeLog(), ElementsAre("写入 BLOB 数据失败: SQL logic error\r\n"));
    EXPECT_EQ(database().blob(1), templateOf(1));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(2)));
}

TEST_F(TemplateChangesTest, WriteTemplateNeverGrowsAShortBlob) {
    start(2);
    ASSERT_TRUE(insert(1, 1, rowOf({1, 2})));
    database().run("UPDATE userInfo SET vector_data = zeroblob(3091);");
    takeLog();
    EXPECT_FALSE(store().writeTemplate(1, 1, asTemplate(templateOf(9))));
    EXPECT_THAT(takeLog(), ElementsAre("写入 BLOB 数据失败: SQL logic error\r\n"));
    EXPECT_EQ(database().blob(1), Bytes(3091, 0));
}

TEST_F(TemplateChangesTest, AReaderThatBlocksTheCommitOfAWriteIsReported) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    takeLog();
    auto reader = database();
    reader.run("BEGIN;");
    ASSERT_EQ(reader.number("SELECT COUNT(*) FROM userInfo;"), 1);
    EXPECT_FALSE(store().writeTemplate(1, 0, asTemplate(templateOf(2))));
    EXPECT_THAT(takeLog(), ElementsAre("写入 BLOB 数据失败: database is locked\r\n"));
    reader.run("ROLLBACK;");
    EXPECT_EQ(database().blob(1), templateOf(1));
}

// ---- removePalm

TEST_F(TemplateChangesTest, RemoveDeletesTheRowAndFreesItsSlots) {
    start(3);
    ASSERT_TRUE(insert(1, 1, rowOf({1, 2, 3})));
    ASSERT_TRUE(insert(1, 2, rowOf({4, 5, 6})));
    takeLog();
    EXPECT_TRUE(store().removePalm(1, 1));
    EXPECT_THAT(takeLog(), ElementsAre("删除成功\r\n"));
    EXPECT_THAT(occupiedSlots(), ElementsAre(3, 4, 5));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(1)));
    EXPECT_FALSE(store().existsKey(keyOf(1, 1)));
    EXPECT_EQ(store().featureCount(), 3);
}

TEST_F(TemplateChangesTest, RemoveWithNoFeaturesDoesNotTouchSqlite) {
    start();
    database().run("INSERT INTO userInfo VALUES (1, 1, 1, NULL, 50);");
    bool stepped = false;
    InterposedCalls::get().beforeStep = [&](sqlite3_stmt*) { stepped = true; };
    EXPECT_FALSE(store().removePalm(1, 1));
    EXPECT_FALSE(stepped);
    InterposedCalls::reset();
    EXPECT_TRUE(store().existsKey(keyOf(1, 1)));
}

TEST_F(TemplateChangesTest, RemoveOfAnAbsentKeyChangesNothing) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    EXPECT_FALSE(store().removePalm(1, 2));
    EXPECT_EQ(store().featureCount(), 1);
}

TEST_F(TemplateChangesTest, RemoveDeletesBothRowsOfAKeyButFreesTheFirst) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    ASSERT_TRUE(insert(1, 1, templateOf(2)));
    takeLog();
    EXPECT_TRUE(store().removePalm(1, 1));
    EXPECT_FALSE(store().existsKey(keyOf(1, 1)));
    EXPECT_THAT(occupiedSlots(), ElementsAre(1));
    EXPECT_EQ(store().featureCount(), 1);
    EXPECT_THAT(takeLog(), ElementsAre("删除成功\r\n"));
}

TEST_F(TemplateChangesTest, ARefusedRemovalLeavesTheSlotsFreed) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    database().run(kRefuseDeletes);
    EXPECT_FALSE(store().removePalm(1, 1));
    EXPECT_THAT(occupiedSlots(), IsEmpty());
    EXPECT_EQ(store().featureCount(), 1);
    EXPECT_TRUE(store().existsKey(keyOf(1, 1)));
}

TEST_F(TemplateChangesTest, RemoveWithACacheThatDisagreesSucceedsWithoutAWord) {
    start();
    ASSERT_TRUE(insert(1, 1, templateOf(1)));
    ASSERT_TRUE(insert(1, 2, templateOf(2)));
    FeatureCacheFile(cachePath(), 10000, 512).remove(1);
    takeLog();
    EXPECT_TRUE(store().removePalm(1, 1));
    EXPECT_EQ(store().featureCount(), 1);
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(TemplateChangesTest, RemoveWithFewerFeaturesThanAPalmHasFailsButTheRowIsGone) {
    start(3);
    ASSERT_TRUE(insert(1, 1, rowOf({1, 2, 3})));
    FeatureCacheFile cache(cachePath(), 30000, 512);
    cache.remove(1);
    cache.remove(2);
    ASSERT_TRUE(insert(1, 2, rowOf({4, 5, 6})));
    ASSERT_TRUE(store().removePalm(1, 2));
    ASSERT_EQ(store().featureCount(), 1);
    takeLog();
    EXPECT_FALSE(store().removePalm(1, 1));
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_EQ(store().featureCount(), 1);
    EXPECT_FALSE(store().existsKey(keyOf(1, 1)));
    EXPECT_THAT(occupiedSlots(), IsEmpty());
}

// ---- A store that cannot work

TEST_F(TemplateChangesTest, BeforeTheFirstPassEveryChangeFails) {
    construct();
    takeLog();
    EXPECT_FALSE(insert(1, 1, templateOf(1)));
    EXPECT_FALSE(store().replaceByKey(keyOf(1, 1), templateOf(1)));
    EXPECT_FALSE(store().replaceRowOnly(1, templateOf(1)));
    EXPECT_FALSE(store().removePalm(1, 1));
    EXPECT_THAT(occupiedSlots(), IsEmpty());
    EXPECT_FALSE(store().writeTemplate(1, 0, asTemplate(templateOf(1))));
    EXPECT_THAT(takeLog(), ElementsAre("打开数据库更新失败\r\n"));
    EXPECT_EQ(store().palmCount(), 0);
}

TEST_F(TemplateChangesTest, WithoutCentresNothingIsStored) {
    for (const int centres : {0, -2}) {
        start(centres);
        EXPECT_FALSE(insert(1, 1, {}));
        EXPECT_FALSE(store().replaceByKey(keyOf(1, 1), {}));
        EXPECT_FALSE(store().writeTemplate(1, 0, asTemplate(templateOf(1))));
        EXPECT_FALSE(store().removePalm(1, 1));
        EXPECT_EQ(store().palmCount(), 0);
        EXPECT_EQ(database().number("SELECT COUNT(*) FROM userInfo;"), 0);
    }
}

TEST_F(TemplateChangesTest, WithoutCacheTheTableIsStillKept) {
    config_["database"]["search_index_path"] = folder_.file("missing/palms.bin");
    start();
    EXPECT_FALSE(store().cache()->isMapped());
    takeLog();
    EXPECT_TRUE(insert(1, 1, templateOf(1)));
    EXPECT_THAT(takeLog(), ElementsAre("添加用户成功, featureCount = 0\r\n"));
    EXPECT_TRUE(store().replaceByKey(keyOf(1, 1), templateOf(2)));
    EXPECT_TRUE(store().writeTemplate(1, 0, asTemplate(templateOf(3))));
    EXPECT_EQ(database().blob(1), templateOf(3));
    EXPECT_FALSE(store().removePalm(1, 1));
}

TEST_F(TemplateChangesTest, DestructionClosesTheConnectionAndSaysSo) {
    start();
    takeLog();
    store_.reset();
    EXPECT_THAT(takeLog(), ElementsAre("关闭数据库连接\r\n"));
    EXPECT_EQ(InterposedCalls::get().liveConnections, 0);
}

}  // namespace
}  // namespace brairu::test
