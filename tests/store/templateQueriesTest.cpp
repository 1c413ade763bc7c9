#include <algorithm>
#include <array>

#include "storeTest.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kMissingRow = 77;

class TemplateQueriesTest : public StoreTest {
protected:
    // One palm of three templates: row 1, key (11, 4).
    void startWithPalm() {
        start(3);
        ASSERT_TRUE(store().insertPalm(keyOf(11, 4), rowOf({1, 2, 3})));
        takeLog();
    }

    std::array<std::uint8_t, kTemplateBytes> template_{};
};

TEST_F(TemplateQueriesTest, ReadsAndWritesLearnCount) {
    startWithPalm();
    EXPECT_EQ(store().getLearnCount(1), 50);
    EXPECT_TRUE(store().setLearnCount(1, -3));
    EXPECT_EQ(store().getLearnCount(1), -3);
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(TemplateQueriesTest, LearnCountOfAMissingRowIsLogged) {
    startWithPalm();
    EXPECT_EQ(store().getLearnCount(kMissingRow), -1);
    EXPECT_THAT(takeLog(), ElementsAre("sqlite3_step(stmt) false\r\n"));
}

TEST_F(TemplateQueriesTest, LearnCountThatCannotBeBoundIsLogged) {
    startWithPalm();
    InterposedCalls::get().failingParameter = 1;
    EXPECT_EQ(store().getLearnCount(1), -1);
    EXPECT_THAT(takeLog(), ElementsAre("sqlite3_bind_int(stmt, 1, uuid); false\r\n"));
}

TEST_F(TemplateQueriesTest, LearnCountWithoutTableFailsWithoutAWord) {
    startWithPalm();
    dropTable();
    EXPECT_EQ(store().getLearnCount(1), -1);
    EXPECT_FALSE(store().setLearnCount(1, 2));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(TemplateQueriesTest, SettingTheLearnCountOfAMissingRowIsDone) {
    startWithPalm();
    EXPECT_TRUE(store().setLearnCount(kMissingRow, 1));
}

TEST_F(TemplateQueriesTest, SettingTheLearnCountFailsWithTheStatement) {
    startWithPalm();
    database().run(
        "CREATE TRIGGER refuse BEFORE UPDATE ON userInfo BEGIN "
        "SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_FALSE(store().setLearnCount(1, 2));
}

TEST_F(TemplateQueriesTest, ReadsEachTemplate) {
    startWithPalm();
    for (const int index : {0, 1, 2}) {
        EXPECT_TRUE(store().readTemplate(1, index, template_));
        EXPECT_TRUE(std::ranges::equal(template_, templateOf(index + 1)));
    }
}

TEST_F(TemplateQueriesTest, ReadsNoTemplateOutsideTheBlob) {
    startWithPalm();
    database().run("UPDATE userInfo SET vector_data = zeroblob(4637);");
    template_.fill(9);
    for (const int index : {-1, 2, 3, 2147483647}) {
        EXPECT_FALSE(store().readTemplate(1, index, template_));
    }
    EXPECT_FALSE(store().readTemplate(kMissingRow, 0, template_));
    EXPECT_THAT(template_, testing::Each(9));
}

TEST_F(TemplateQueriesTest, ReadsTheWholeBlobButNoMoreThanFits) {
    startWithPalm();
    Bytes exact(4638);
    EXPECT_TRUE(store().readBlob(1, exact));
    EXPECT_EQ(exact, rowOf({1, 2, 3}));

    Bytes larger(5000, 8);
    EXPECT_TRUE(store().readBlob(1, larger));
    EXPECT_EQ(Bytes(larger.begin(), larger.begin() + 4638), exact);
    EXPECT_EQ(Bytes(larger.begin() + 4638, larger.end()), Bytes(362, 8));

    Bytes smaller(100);
    EXPECT_TRUE(store().readBlob(1, smaller));
    EXPECT_EQ(smaller, Bytes(exact.begin(), exact.begin() + 100));
    EXPECT_FALSE(store().readBlob(kMissingRow, exact));
}

TEST_F(TemplateQueriesTest, ABlobOfNoBytesIsNotPresent) {
    startWithPalm();
    Bytes out(10, 5);
    std::array<std::int8_t, 512> block{};
    TemplateTrailer trailer;
    for (const char* nothing : {"NULL", "x''"}) {
        database().run(std::string("UPDATE userInfo SET vector_data = ") + nothing + ";");
        EXPECT_FALSE(store().readBlob(1, out));
        EXPECT_FALSE(store().readByKey(keyOf(11, 4), out));
        EXPECT_FALSE(store().readTemplate(1, 0, template_));
        EXPECT_FALSE(store().readBlocks(1, 0, block, block, trailer));
    }
    EXPECT_EQ(out, Bytes(10, 5));
    EXPECT_THAT(takeLog(), ElementsAre("dataSize: 0\n", "dataSize: 0\n"));
}

TEST_F(TemplateQueriesTest, ReadsBlocksOneAndTwoAndTheTrailer) {
    startWithPalm();
    std::array<std::int8_t, 512> block1{};
    std::array<std::int8_t, 512> block2{};
    TemplateTrailer trailer;
    Bytes expected = templateOf(2);
    ASSERT_TRUE(store().readBlocks(1, 1, block1, block2, trailer));
    for (std::size_t place = 0; place < 512; ++place) {
        EXPECT_EQ(static_cast<std::uint8_t>(block1[place]), expected[512 + place]);
        EXPECT_EQ(static_cast<std::uint8_t>(block2[place]), expected[1024 + place]);
    }
    const auto little = [&](std::size_t at, int bytes) {
        std::uint32_t value = 0;
        for (int byte = bytes - 1; byte >= 0; --byte) {
            value = value << 8 | expected[at + static_cast<std::size_t>(byte)];
        }
        return value;
    };
    EXPECT_EQ(trailer.word0, little(1536, 4));
    EXPECT_EQ(trailer.word1, little(1540, 4));
    EXPECT_EQ(trailer.word2, little(1544, 2));
}

TEST_F(TemplateQueriesTest, ReadsNoBlocksOutsideTheBlob) {
    startWithPalm();
    std::array<std::int8_t, 512> block{};
    TemplateTrailer trailer;
    for (const int index : {-1, 3, 1000000}) {
        EXPECT_FALSE(store().readBlocks(1, index, block, block, trailer));
    }
    EXPECT_FALSE(store().readBlocks(kMissingRow, 0, block, block, trailer));
    EXPECT_THAT(block, testing::Each(0));
}

TEST_F(TemplateQueriesTest, ReadsNoBlocksThatReachOverTheTemplate) {
    startWithPalm();
    config_["feature"]["feature_len"] = 513;
    store().config() = config_;
    std::array<std::int8_t, 513> block{};
    TemplateTrailer trailer;
    EXPECT_FALSE(store().readBlocks(1, 0, block, block, trailer));
}

TEST_F(TemplateQueriesTest, ReadsByKeyAndLogsTheSize) {
    startWithPalm();
    Bytes out(4638);
    EXPECT_TRUE(store().readByKey(keyOf(11, 4), out));
    EXPECT_EQ(out, rowOf({1, 2, 3}));
    EXPECT_THAT(takeLog(), ElementsAre("dataSize: 4638\n"));
}

TEST_F(TemplateQueriesTest, ReadByKeyKeepsToTheBuffer) {
    startWithPalm();
    Bytes out(20, 0);
    EXPECT_TRUE(store().readByKey(keyOf(11, 4), std::span(out).first(10)));
    EXPECT_EQ(Bytes(out.begin() + 10, out.end()), Bytes(10, 0));
}

TEST_F(TemplateQueriesTest, ReadByAnAbsentKeyLeavesTheBufferAndLogsNothing) {
    startWithPalm();
    Bytes out(4638, 6);
    EXPECT_FALSE(store().readByKey(keyOf(11, 5), out));
    EXPECT_FALSE(store().readByKey(keyOf(12, 4), out));
    EXPECT_EQ(out, Bytes(4638, 6));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(TemplateQueriesTest, LastRowIdIsZeroUntilARowWasInserted) {
    start();
    EXPECT_EQ(store().lastRowId(), 0);
    ASSERT_TRUE(store().insertPalm(keyOf(1, 1), templateOf(1)));
    ASSERT_TRUE(store().insertPalm(keyOf(1, 2), templateOf(2)));
    EXPECT_EQ(store().lastRowId(), 2);
    ASSERT_TRUE(store().removePalm(1, 2));
    EXPECT_EQ(store().lastRowId(), 2);
}

TEST_F(TemplateQueriesTest, LastRowIdIsUnknownWhileTheDatabaseIsLocked) {
    start();
    auto other = database();
    other.run("BEGIN EXCLUSIVE;");
    EXPECT_EQ(store().lastRowId(), std::nullopt);
    other.run("ROLLBACK;");
    EXPECT_EQ(store().lastRowId(), 0);
}

TEST_F(TemplateQueriesTest, LastRowIdIsUnknownWhenItCannotBeBound) {
    start();
    InterposedCalls::get().failingParameter = 1;
    EXPECT_EQ(store().lastRowId(), std::nullopt);
}

TEST_F(TemplateQueriesTest, KeyExistsOnlyWithBothParts) {
    startWithPalm();
    EXPECT_TRUE(store().existsKey(keyOf(11, 4)));
    EXPECT_FALSE(store().existsKey(keyOf(11, 3)));
    EXPECT_FALSE(store().existsKey(keyOf(10, 4)));
}

TEST_F(TemplateQueriesTest, KeysKeepTheirFullWidthAndSign) {
    start();
    const std::int64_t large = -9223372036854775807LL;
    ASSERT_TRUE(store().insertPalm(keyOf(large, -2147483647), templateOf(1)));
    std::int64_t userid = 0;
    std::int32_t palmindex = 0;
    EXPECT_TRUE(store().keyOfId(1, userid, palmindex));
    EXPECT_EQ(userid, large);
    EXPECT_EQ(palmindex, -2147483647);
    EXPECT_THAT(store().palmIndexesOf(large), ElementsAre(-2147483647));
}

TEST_F(TemplateQueriesTest, KeyOfAMissingIdIsReportedAndLeavesTheOutputs) {
    startWithPalm();
    std::int64_t userid = 5;
    std::int32_t palmindex = 6;
    EXPECT_EQ(stderrOf([&] { EXPECT_FALSE(store().keyOfId(kMissingRow, userid, palmindex)); }),
              "No data found for the given UUID.\n");
    EXPECT_EQ(userid, 5);
    EXPECT_EQ(palmindex, 6);
}

TEST_F(TemplateQueriesTest, KeyOfIdWithoutTableReportsSqlitesText) {
    startWithPalm();
    dropTable();
    std::int64_t userid = 5;
    std::int32_t palmindex = 6;
    EXPECT_EQ(stderrOf([&] { EXPECT_FALSE(store().keyOfId(1, userid, palmindex)); }),
              "Failed to execute query: no such table: userInfo\n");
}

TEST_F(TemplateQueriesTest, ListsAUsersPalmsInTheOrderOfTheRows) {
    start();
    for (const int palm : {7, 2, 9}) {
        ASSERT_TRUE(store().insertPalm(keyOf(1, palm), templateOf(palm)));
    }
    ASSERT_TRUE(store().insertPalm(keyOf(2, 5), templateOf(5)));
    EXPECT_THAT(store().palmIndexesOf(1), ElementsAre(7, 2, 9));
    EXPECT_THAT(store().palmIndexesOf(3), IsEmpty());
}

TEST_F(TemplateQueriesTest, AListThatBreaksOffIsEmpty) {
    start();
    for (const int palm : {7, 2, 9}) {
        ASSERT_TRUE(store().insertPalm(keyOf(1, palm), templateOf(palm)));
    }
    InterposedCalls::get().beforeStep =
        interruptAtStep("SELECT palmindex FROM userInfo WHERE userid = ?;", 3);
    EXPECT_THAT(store().palmIndexesOf(1), IsEmpty());
}

TEST_F(TemplateQueriesTest, FailedBindsFindNothing) {
    startWithPalm();
    Bytes out(4638, 1);
    for (const int parameter : {1, 2}) {
        InterposedCalls::get().failingParameter = parameter;
        EXPECT_FALSE(store().existsKey(keyOf(11, 4)));
        EXPECT_FALSE(store().readByKey(keyOf(11, 4), out));
        EXPECT_FALSE(store().setLearnCount(1, 2));
    }
    InterposedCalls::get().failingParameter = 1;
    EXPECT_FALSE(store().readBlob(1, out));
    EXPECT_FALSE(store().readTemplate(1, 0, template_));
    EXPECT_THAT(store().palmIndexesOf(11), IsEmpty());
    EXPECT_EQ(out, Bytes(4638, 1));
}

TEST_F(TemplateQueriesTest, BeforeTheFirstPassEveryReadFails) {
    construct();
    Bytes out(kTemplateBytes);
    std::array<std::int8_t, 512> block{};
    TemplateTrailer trailer;
    std::int64_t userid = 0;
    std::int32_t palmindex = 0;
    EXPECT_EQ(store().getLearnCount(1), -1);
    EXPECT_FALSE(store().setLearnCount(1, 1));
    EXPECT_FALSE(store().readTemplate(1, 0, template_));
    EXPECT_FALSE(store().readBlob(1, out));
    EXPECT_FALSE(store().readBlocks(1, 0, block, block, trailer));
    EXPECT_FALSE(store().readByKey(keyOf(1, 1), out));
    EXPECT_EQ(store().lastRowId(), std::nullopt);
    EXPECT_FALSE(store().existsKey(keyOf(1, 1)));
    EXPECT_THAT(store().palmIndexesOf(1), IsEmpty());
    EXPECT_EQ(stderrOf([&] { EXPECT_FALSE(store().keyOfId(1, userid, palmindex)); }),
              "Failed to execute query: out of memory\n");
}

}  // namespace
}  // namespace brairu::test
