#include "store/blobMigration.h"

#include <iostream>
#include <optional>
#include <string>

#include "store/templateBlob.h"

namespace brairu {
namespace {

using FaultReport = void (*)(const char* prefix, const std::string& text);

void printFault(const char* prefix, const std::string& text) {
    std::cerr << prefix << text << std::endl;
}

void ignoreFault(const char*, const std::string&) {}

// Undone at the end of its life unless committed.
class Transaction {
public:
    explicit Transaction(SqliteConnection& connection)
        : connection_(connection), running_(connection.execute("BEGIN;") == SQLITE_OK) {}
    ~Transaction() {
        if (running_) {
            connection_.execute("ROLLBACK;");
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

bool rewriteRow(const SqliteConnection& connection, std::int64_t id,
                std::span<const std::uint8_t> blob, FaultReport report) {
    SqliteStatement update(connection, "UPDATE userInfo SET vector_data = ? WHERE id = ?;");
    if (update.bindAll(blob, id) && update.stepToEnd()) {
        return true;
    }
    report("Failed to update vector_data: ", connection.errorText());
    return false;
}

bool migrateRow(const SqliteConnection& connection, const SqliteStatement& row, std::size_t size,
                FaultReport report) {
    const auto blob = row.blobAt(1);
    if (size == 0 || blob.size() == size) {
        return true;
    }
    // A blob that there is no memory for is not an empty one.
    if (blob.empty() && row.sizeAt(1) > 0) {
        report("Failed to update vector_data: ", connection.errorText());
        return false;
    }
    return rewriteRow(connection, row.int32At(0), fittedTemplates(blob, size), report);
}

// Steps through rows in the order of their ids. A damaged table can hand out a row again that was
// rewritten behind its back, and would never end.
class RisingRows {
public:
    explicit RisingRows(const SqliteConnection& connection)
        : rows_(connection, "SELECT id, vector_data FROM userInfo;") {}

    const SqliteStatement& current() const { return rows_; }

    int step() {
        const int result = rows_.step();
        if (result != SQLITE_ROW) {
            return result;
        }
        const std::int64_t id = rows_.int64At(0);
        inOrder_ = !last_ || id > *last_;
        last_ = id;
        return inOrder_ ? SQLITE_ROW : SQLITE_CORRUPT;
    }

    std::string faultOf(const SqliteConnection& connection) const {
        return inOrder_ ? connection.errorText() : sqlite3_errstr(SQLITE_CORRUPT);
    }

private:
    SqliteStatement rows_;
    std::optional<std::int64_t> last_;
    bool inOrder_ = true;
};

MigrationOutcome migrateRows(const SqliteConnection& connection, std::size_t size,
                             const RowVisitor& visit, FaultReport report) {
    RisingRows rows(connection);
    if (!rows.current().isPrepared()) {
        report("Cannot prepare statement: ", connection.errorText());
        return MigrationOutcome::unreadable;
    }
    MigrationOutcome outcome = MigrationOutcome::clean;
    int result = rows.step();
    for (; result == SQLITE_ROW; result = rows.step()) {
        visit(rows.current().int32At(0), rows.current().blobAt(1));
        if (!migrateRow(connection, rows.current(), size, report)) {
            outcome = MigrationOutcome::faulty;
        }
    }
    if (result != SQLITE_DONE) {
        report("Query execution error: ", rows.faultOf(connection));
        outcome = MigrationOutcome::faulty;
    }
    return outcome;
}

bool migrateInOneTransaction(SqliteConnection& connection, std::size_t size,
                             const RowVisitor& visit) {
    Transaction transaction(connection);
    return transaction.isRunning() &&
           migrateRows(connection, size, visit, ignoreFault) == MigrationOutcome::clean &&
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
    return migrateRows(connection, size, visit, printFault);
}

}  // namespace brairu
