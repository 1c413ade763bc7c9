#include "store/blobMigration.h"

#include <iostream>

#include "store/templateBlob.h"

namespace brairu {
namespace {

enum class Outcome { clean, faulty, unreadable };

using FaultReport = void (*)(const char* prefix, const SqliteConnection& connection);

void printFault(const char* prefix, const SqliteConnection& connection) {
    std::cerr << prefix << connection.errorText() << std::endl;
}

void ignoreFault(const char*, const SqliteConnection&) {}

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
    report("Failed to update vector_data: ", connection);
    return false;
}

bool migrateRow(const SqliteConnection& connection, const SqliteStatement& row, std::size_t size,
                FaultReport report) {
    const auto blob = row.blobAt(1);
    if (size == 0 || blob.size() == size) {
        return true;
    }
    return rewriteRow(connection, row.int32At(0), fittedTemplates(blob, size), report);
}

Outcome migrateRows(const SqliteConnection& connection, std::size_t size, FaultReport report) {
    SqliteStatement rows(connection, "SELECT id, vector_data FROM userInfo;");
    if (!rows.isPrepared()) {
        report("Cannot prepare statement: ", connection);
        return Outcome::unreadable;
    }
    Outcome outcome = Outcome::clean;
    int result = rows.step();
    for (; result == SQLITE_ROW; result = rows.step()) {
        if (!migrateRow(connection, rows, size, report)) {
            outcome = Outcome::faulty;
        }
    }
    if (result != SQLITE_DONE) {
        report("Query execution error: ", connection);
        outcome = Outcome::faulty;
    }
    return outcome;
}

bool migrateInOneTransaction(SqliteConnection& connection, std::size_t size) {
    Transaction transaction(connection);
    return transaction.isRunning() &&
           migrateRows(connection, size, ignoreFault) == Outcome::clean && transaction.commit();
}

}  // namespace

// One transaction for all rows spares a wait for the disk per row. Only when every row went well is
// it the same as row by row, so anything else is undone and done again that way.
bool migrateBlobs(SqliteConnection& connection, std::size_t size) {
    return migrateInOneTransaction(connection, size) ||
           migrateRows(connection, size, printFault) != Outcome::unreadable;
}

}  // namespace brairu
