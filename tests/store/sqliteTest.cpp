#include "store/sqlite.h"

#include <gmock/gmock.h>

#include <array>
#include <stdexcept>
#include <vector>

#include "interposedCalls.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;

class SqliteTest : public testing::Test {
protected:
    SqliteTest() { InterposedCalls::reset(); }
    ~SqliteTest() override {
        connection_.close();
        EXPECT_EQ(InterposedCalls::get().liveConnections, 0);
        EXPECT_TRUE(InterposedCalls::get().liveStatements.empty());
        EXPECT_EQ(InterposedCalls::get().liveBlobs, 0);
    }

    void openWithTable() {
        ASSERT_EQ(connection_.open(folder_.file("a.db")), SQLITE_OK);
        ASSERT_EQ(connection_.execute("CREATE TABLE t (id INTEGER PRIMARY KEY, data BLOB);"),
                  SQLITE_OK);
    }

    TemporaryFolder folder_;
    SqliteConnection connection_;
};

TEST_F(SqliteTest, WithoutConnectionEverythingIsMisuse) {
    EXPECT_FALSE(connection_.isOpen());
    EXPECT_EQ(connection_.execute("SELECT 1;"), SQLITE_MISUSE);
    EXPECT_EQ(connection_.errorText(), "out of memory");
    SqliteStatement statement(connection_, "SELECT ?;");
    EXPECT_FALSE(statement.isPrepared());
    EXPECT_FALSE(statement.bindAll(1));
    EXPECT_FALSE(statement.bind(1, std::int64_t{1}));
    EXPECT_FALSE(statement.bind(1, std::span<const std::uint8_t>()));
    EXPECT_FALSE(statement.bind(1, "x"));
    EXPECT_EQ(statement.step(), SQLITE_MISUSE);
    SqliteBlob blob(connection_, "t", "data", 1);
    EXPECT_FALSE(blob.isOpen());
    EXPECT_FALSE(blob.write({}, 0));
    EXPECT_FALSE(blob.close());
}

TEST_F(SqliteTest, OpeningAgainClosesTheEarlierConnection) {
    connection_.open(folder_.file("a.db"));
    connection_.open(folder_.file("b.db"));
    EXPECT_EQ(InterposedCalls::get().liveConnections, 1);
}

TEST_F(SqliteTest, AFailedOpenKeepsItsErrorTextUntilClosed) {
    EXPECT_EQ(connection_.open(folder_.file("missing/a.db")), SQLITE_CANTOPEN);
    EXPECT_EQ(connection_.errorText(), "unable to open database file");
    EXPECT_EQ(connection_.execute("SELECT 1;"), SQLITE_MISUSE);
    connection_.close();
    EXPECT_FALSE(connection_.isOpen());
    EXPECT_EQ(InterposedCalls::get().liveConnections, 0);
}

TEST_F(SqliteTest, BindsAndReadsBackAllTypes) {
    openWithTable();
    const std::vector<std::uint8_t> bytes{0, 255, 7};
    SqliteStatement query(connection_, "SELECT ?, ?, ?, ?;");
    ASSERT_TRUE(
        query.bindAll(-5, std::int64_t{1} << 40, std::span<const std::uint8_t>(bytes), "name"));
    ASSERT_TRUE(query.stepToRow());
    EXPECT_EQ(query.int32At(0), -5);
    EXPECT_EQ(query.int64At(1), std::int64_t{1} << 40);
    EXPECT_THAT(query.blobAt(2), ElementsAre(0, 255, 7));
    EXPECT_THAT(query.blobAt(3), ElementsAre('n', 'a', 'm', 'e'));
    EXPECT_TRUE(query.stepToEnd());
}

TEST_F(SqliteTest, NullAndEmptyBlobsAreEmpty) {
    openWithTable();
    SqliteStatement query(connection_, "SELECT NULL, x'';");
    ASSERT_TRUE(query.stepToRow());
    EXPECT_TRUE(query.blobAt(0).empty());
    EXPECT_TRUE(query.blobAt(1).empty());
}

TEST_F(SqliteTest, BindingStopsAtTheFirstFault) {
    openWithTable();
    SqliteStatement query(connection_, "SELECT ?;");
    EXPECT_FALSE(query.bindAll(1, 2));
    EXPECT_EQ(connection_.errorText(), "column index out of range");
}

TEST_F(SqliteTest, FinalizesWhenAnExceptionPasses) {
    openWithTable();
    const auto leave = [&] {
        const SqliteStatement statement(connection_, "SELECT 1;");
        EXPECT_EQ(InterposedCalls::get().liveStatements.size(), 1u);
        throw std::runtime_error("leaves");
    };
    EXPECT_THROW(leave(), std::runtime_error);
    EXPECT_TRUE(InterposedCalls::get().liveStatements.empty());
}

TEST_F(SqliteTest, WritesInsideABlobOnly) {
    openWithTable();
    connection_.execute("INSERT INTO t VALUES (3, zeroblob(6));");
    const std::array<std::uint8_t, 3> bytes{1, 2, 3};
    {
        SqliteBlob blob(connection_, "t", "data", 3);
        ASSERT_TRUE(blob.isOpen());
        EXPECT_TRUE(blob.write(bytes, 2));
        EXPECT_FALSE(blob.write(bytes, 4));
        EXPECT_FALSE(blob.write(bytes, -1));
        EXPECT_FALSE(blob.write(bytes, std::int64_t{1} << 40));
    }
    SqliteStatement query(connection_, "SELECT data FROM t WHERE id = 3;");
    ASSERT_TRUE(query.stepToRow());
    EXPECT_THAT(query.blobAt(0), ElementsAre(0, 0, 1, 2, 3, 0));
}

TEST_F(SqliteTest, ABlobOfAMissingRowIsNotOpen) {
    openWithTable();
    const SqliteBlob blob(connection_, "t", "data", 3);
    EXPECT_FALSE(blob.isOpen());
}

}  // namespace
}  // namespace brairu::test
