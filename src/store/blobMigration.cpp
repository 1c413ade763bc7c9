#include "store/blobMigration.h"

#include <iostream>
#include <string>
#include <unordered_set>

#include "store/templateBlob.h"

namespace brairu {
namespace {

using FaultReport = void (*)(const char* prefix, const std::string& text);

void printFault(const char* prefix, const std::string& text) {
    std::cerr << prefix << text << std::endl;
}

void ignoreFault(const char*, const std::string&) {}

// Undone at the end of its life unless committed. Where it cannot be undone, for want of memory, the
// connection goes with it: whatever was reported on it later would never be committed.
class Transaction {
public:
    explicit Transaction(SqliteConnection& connection)
        : connection_(connection), running_(connection.execute("BEGIN;") == SQLITE_OK) {}
    ~Transaction() {
        if (running_ && connection_.execute("ROLLBACK;") != SQLITE_OK &&
            connection_.isInTransaction()) {
            connection_.close();
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    bool isRunning() const { return running_; }

    bool commit() {
        running_ = connection_.execute("COMMIT;") != SQLITE_OK;
        return !running_;
    }

private:
    SqliteConnection& connection_;
    bool running_;
};

// One walk over the table. A damaged table can hand out a row again that was rewritten behind its
// back, and would never end.
class Migration {
public:
    Migration(const SqliteConnection& connection, std::size_t size, FaultReport report)
        : connection_(connection), size_(size), report_(report) {}

    MigrationOutcome run(const RowVisitor& visit) {
        SqliteStatement rows(connection_, "SELECT id, vector_data FROM userInfo;");
        if (!rows.isPrepared()) {
            report_("Cannot prepare statement: ", connection_.errorText());
            return MigrationOutcome::unreadable;
        }
        int result = rows.step();
        for (; result == SQLITE_ROW && !goesInCircles_; result = rows.step()) {
            const int id = rows.int32At(0);
            const auto blob = rows.blobAt(1);
            visit(id, blob);
            if (size_ != 0 && blob.size() != size_) {
                // A blob that there is no memory for is not an empty one.
                migrate(id, blob, blob.empty() && rows.sizeAt(1) > 0);
            }
        }
        if (goesInCircles_) {
            fail("Query execution error: ", sqlite3_errstr(SQLITE_CORRUPT));
        } else if (result != SQLITE_DONE) {
            fail("Query execution error: ", connection_.errorText());
        }
        return outcome_;
    }

private:
    void migrate(int id, std::span<const std::uint8_t> blob, bool unread) {
        goesInCircles_ = !rewritten_.insert(id).second;
        if (!goesInCircles_ && (unread || !rewrite(id, fittedTemplates(blob, size_)))) {
            fail("Failed to update vector_data: ", connection_.errorText());
        }
    }

    bool rewrite(std::int64_t id, std::span<const std::uint8_t> blob) {
        SqliteStatement update(connection_, "UPDATE userInfo SET vector_data = ? WHERE id = ?;");
        return update.bindAll(blob, id) && update.stepToEnd();
    }

    void fail(const char* prefix, const std::string& text) {
        report_(prefix, text);
        outcome_ = MigrationOutcome::faulty;
    }

    const SqliteConnection& connection_;
    std::size_t size_;
    FaultReport report_;
    MigrationOutcome outcome_ = MigrationOutcome::clean;
    std::unordered_set<int> rewritten_;
    bool goesInCircles_ = false;
};

bool migrateInOneTransaction(SqliteConnection& connection, std::size_t size,
                             const RowVisitor& visit) {
    Transaction transaction(connection);
    return transaction.isRunning() &&
           Migration(connection, size, ignoreFault).run(visit) == MigrationOutcome::clean &&
           transaction.commit();
}

}  // namespace

// One transaction for all rows spares a wait for the disk per row. Only when every row went well is
// it the same as row by row, so anything else is undone and done again that way.
MigrationOutcome migrateBlobs(SqliteConnection& connection, std::size_t size,
                              const RowVisitor& visit) {
    if (migrateInOneTransaction(connection, size, visit)) {
        return MigrationOutcome::clean;
    }
    return Migration(connection, size, printFault).run(visit);
}

}  // namespace brairu
