#include "store/blobMigration.h"

#include "storeTest.h"

namespace brairu::test {
namespace {

constexpr const char* kSelect = "SELECT id, vector_data FROM userInfo;";

class BlobMigrationTest : public StoreTest {
protected:
    BlobMigrationTest() {
        start();
        store_.reset();
        connection_.open(databasePath());
    }
    ~BlobMigrationTest() override { connection_.close(); }

    void add(int id, const Bytes& blob) { database().insertRow(id, 1, id, blob); }

    // What is reported.
    std::string migrate(std::size_t size, bool readable = true) {
        return stderrOf([&] {
            const auto outcome = migrateBlobs(connection_, size, [](auto...) {});
            EXPECT_EQ(outcome != MigrationOutcome::unreadable, readable);
        });
    }

    SqliteConnection connection_;
};

TEST_F(BlobMigrationTest, RepeatsAndCuts) {
    add(1, templateOf(1));
    add(2, rowOf({2, 3}));
    add(5, rowOf({4, 5, 6, 7}));
    EXPECT_EQ(migrate(3 * 1546), "");
    auto other = database();
    EXPECT_EQ(other.blob(1), rowOf({1, 1, 1}));
    EXPECT_EQ(other.blob(2), rowOf({2, 3, 2}));
    EXPECT_EQ(other.blob(5), rowOf({4, 5, 6}));
}

TEST_F(BlobMigrationTest, AnUnalignedBlobIsFollowedByZeros) {
    Bytes blob = rowOf({1, 2});
    blob.resize(2000);
    add(1, blob);
    EXPECT_EQ(migrate(3092), "");
    blob.resize(3092, 0);
    EXPECT_EQ(database().blob(1), blob);
}

TEST_F(BlobMigrationTest, RowsWithoutBlobGetZeros) {
    add(1, {});
    EXPECT_EQ(migrate(1546), "");
    EXPECT_EQ(database().blob(1), Bytes(1546, 0));
}

TEST_F(BlobMigrationTest, WritesNothingWhenAllSizesAgree) {
    add(1, templateOf(1));
    database().run(
        "CREATE TRIGGER refuse BEFORE UPDATE ON userInfo BEGIN "
        "SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(migrate(1546), "");
}

// As in a damaged file, whose rows move while they are rewritten and come up again and again.
TEST_F(BlobMigrationTest, StopsWhereARewrittenRowComesAgain) {
    database().run(
        "DROP TABLE userInfo; CREATE TABLE userInfo (id INTEGER, userid, palmindex, vector_data, "
        "learn_count); CREATE TRIGGER undone AFTER UPDATE ON userInfo BEGIN UPDATE userInfo SET "
        "vector_data = x'0102' WHERE id = new.id; END;");
    add(3, templateOf(3));
    add(2, templateOf(2));
    add(3, templateOf(3));
    add(1, templateOf(1));
    EXPECT_EQ(migrate(3092), "Query execution error: database disk image is malformed\n");
    EXPECT_EQ(database().blob(2), (Bytes{1, 2}));
    EXPECT_EQ(database().blob(1), templateOf(1));
}

TEST_F(BlobMigrationTest, SizeZeroLeavesEveryBlob) {
    add(1, templateOf(1));
    add(2, {});
    EXPECT_EQ(migrate(0), "");
    EXPECT_EQ(database().blob(1), templateOf(1));
    EXPECT_EQ(database().blob(2), Bytes());
}

TEST_F(BlobMigrationTest, ARefusedRowIsReportedAndTheOthersAreKept) {
    for (const int id : {1, 2, 3}) {
        add(id, templateOf(id));
    }
    database().run(
        "CREATE TRIGGER refuse BEFORE UPDATE ON userInfo WHEN NEW.id = 2 BEGIN "
        "SELECT RAISE(ABORT, 'not this one'); END;");
    EXPECT_EQ(migrate(3092), "Failed to update vector_data: not this one\n");
    auto other = database();
    EXPECT_EQ(other.blob(1), rowOf({1, 1}));
    EXPECT_EQ(other.blob(2), templateOf(2));
    EXPECT_EQ(other.blob(3), rowOf({3, 3}));
}

TEST_F(BlobMigrationTest, ARowThatRollsBackCostsTheOthersNothing) {
    for (const int id : {1, 2, 3}) {
        add(id, templateOf(id));
    }
    database().run(
        "CREATE TRIGGER refuse BEFORE UPDATE ON userInfo WHEN NEW.id = 3 BEGIN "
        "SELECT RAISE(FAIL, 'not this one'); END;");
    EXPECT_EQ(migrate(3092), "Failed to update vector_data: not this one\n");
    EXPECT_EQ(database().blob(1), rowOf({1, 1}));
    EXPECT_EQ(database().blob(2), rowOf({2, 2}));
}

TEST_F(BlobMigrationTest, ALockIsReportedForEveryRow) {
    add(1, templateOf(1));
    add(2, templateOf(2));
    auto other = database();
    other.run("BEGIN IMMEDIATE;");
    EXPECT_EQ(migrate(3092),
              "Failed to update vector_data: database is locked\n"
              "Failed to update vector_data: database is locked\n");
    other.run("ROLLBACK;");
    EXPECT_EQ(other.blob(1), templateOf(1));
}

TEST_F(BlobMigrationTest, AReaderThatBlocksTheCommitIsReportedForEveryRow) {
    add(1, templateOf(1));
    add(2, templateOf(2));
    auto reader = database();
    reader.run("BEGIN;");
    ASSERT_EQ(reader.number("SELECT COUNT(*) FROM userInfo;"), 2);
    EXPECT_EQ(migrate(3092),
              "Failed to update vector_data: database is locked\n"
              "Failed to update vector_data: database is locked\n");
    reader.run("ROLLBACK;");
    EXPECT_EQ(migrate(3092), "");
    EXPECT_EQ(database().blob(2), rowOf({2, 2}));
}

TEST_F(BlobMigrationTest, AnUnboundUpdateIsReported) {
    add(1, templateOf(1));
    InterposedCalls::get().failingParameter = 2;
    EXPECT_EQ(migrate(3092), "Failed to update vector_data: column index out of range\n");
}

TEST_F(BlobMigrationTest, AReadThatBreaksOffIsReported) {
    add(1, templateOf(1));
    add(2, templateOf(2));
    InterposedCalls::get().beforeStep = interruptAtStep(kSelect, 2);
    EXPECT_EQ(migrate(3092), "Query execution error: interrupted\n");
    InterposedCalls::reset();
    EXPECT_EQ(database().blob(1), rowOf({1, 1}));
    EXPECT_EQ(database().blob(2), templateOf(2));
}

TEST_F(BlobMigrationTest, AMissingTableIsReportedOnce) {
    database().run("DROP TABLE userInfo;");
    EXPECT_EQ(migrate(1546, false), "Cannot prepare statement: no such table: userInfo\n");
}

TEST_F(BlobMigrationTest, AMissingConnectionIsReportedOnce) {
    connection_.close();
    EXPECT_EQ(migrate(1546, false), "Cannot prepare statement: out of memory\n");
}

TEST_F(BlobMigrationTest, LeavesNoTransactionBehind) {
    add(1, templateOf(1));
    migrate(3092);
    EXPECT_NE(sqlite3_get_autocommit(connection_.handle()), 0);
    database().run(
        "CREATE TRIGGER refuse BEFORE UPDATE ON userInfo BEGIN "
        "SELECT RAISE(ABORT, 'no'); END;");
    migrate(1546);
    EXPECT_NE(sqlite3_get_autocommit(connection_.handle()), 0);
}

// As for want of memory. What is reported later must not hang on a transaction that nobody commits.
TEST_F(BlobMigrationTest, ATransactionThatCannotBeUndoneTakesTheConnectionWithIt) {
    add(1, templateOf(1));
    database().run(
        "CREATE TRIGGER refuse BEFORE UPDATE ON userInfo BEGIN "
        "SELECT RAISE(ABORT, 'no'); END;");
    const auto forbidRollback = [](void*, int action, const char* what, const char*, const char*,
                                   const char*) {
        return action == SQLITE_TRANSACTION && std::string(what) == "ROLLBACK" ? SQLITE_DENY
                                                                               : SQLITE_OK;
    };
    sqlite3_set_authorizer(connection_.handle(), forbidRollback, nullptr);
    EXPECT_EQ(migrate(3092, false), "Cannot prepare statement: out of memory\n");
    EXPECT_FALSE(connection_.isOpen());
    EXPECT_EQ(database().blob(1), templateOf(1));
}

}  // namespace
}  // namespace brairu::test
