#include "store/exclusiveStore.h"

#include <algorithm>
#include <fstream>
#include <string_view>

#include "engine/engineSetup.h"
#include "engine/enrolledPalms.h"
#include "fault.h"
#include "store/cacheRenewal.h"
#include "store/fileHolders.h"

namespace brairu::tool {
namespace {

constexpr char kCheckStore[] = "Run \"brairu db check\" for what is wrong with it.";

// As the head of the file says. SQLite, asked for it, would write into such a database.
bool hasWriteAheadLog(const std::string& database) {
    constexpr std::streamoff kWriteVersion = 18;
    constexpr char kLog = 2;
    std::ifstream file(database, std::ios::binary);
    char version = 0;
    return file.seekg(kWriteVersion) && file.get(version) && version == kLog;
}

void requirePlainFile(const std::string& database) {
    if (database.starts_with("file:")) {
        throw EngineFault("database.database_path is a URI, whose store is not changed by hand",
                          "Name the database by its path.");
    }
    if (!isThere(database)) {
        throw EngineFault("the database " + database + " is not there",
                          "Look at database.database_path in the configuration; relative paths "
                          "start at the working directory.");
    }
    requireWritableStore(database);
    if (hasWriteAheadLog(database)) {
        throw EngineFault("the database " + database + " has a write-ahead log",
                          "Set it back first: sqlite3 DATABASE \"PRAGMA journal_mode = delete;\"");
    }
}

std::string listed(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

}  // namespace

ExclusiveStore::ExclusiveStore(const StoreFiles& files) : files_(files) {
    requirePlainFile(files_.database);
    requireCacheOrNone(files_);
    lock();
    refuseHolders();
    requireWhole();
    requireTable();
    requireFittingRows();
}

// The lock alone would not do: between its calls an engine holds none.
void ExclusiveStore::lock() {
    constexpr int kPatienceMilliseconds = 2000;
    if (connection_.open(files_.database) != SQLITE_OK) {
        fail("cannot be opened");
    }
    sqlite3_busy_timeout(connection_.handle(), kPatienceMilliseconds);
    // What is deleted is overwritten as well.
    connection_.execute("PRAGMA secure_delete = ON;");
    switch (connection_.execute("BEGIN EXCLUSIVE;")) {
        case SQLITE_OK: return;
        case SQLITE_BUSY:
            throw Fault(Ending::no, "another program is using the database " + files_.database,
                        "Stop it, and run the command again.");
        default: fail("cannot be locked");
    }
}

void ExclusiveStore::refuseHolders() {
    const FileHolders holders = holdersOf({files_.database, files_.cache});
    if (!holders.processes.empty()) {
        throw Fault(Ending::no, "the store is in use by " + listed(holders.processes),
                    "Stop it, and run the command again: an engine that runs on would not see the "
                    "change.");
    }
    unseen_ = holders.unseen;
}

void ExclusiveStore::requireWhole() const {
    SqliteStatement check(connection_, "PRAGMA integrity_check(1);");
    constexpr std::string_view kWhole = "ok";
    if (!check.stepToRow()) {
        fail("cannot be read");
    }
    const auto verdict = check.blobAt(0);
    if (!std::ranges::equal(verdict, kWhole)) {
        throw EngineFault("the database " + files_.database + " is damaged", kCheckStore);
    }
}

void ExclusiveStore::requireTable() const {
    if (number("SELECT COUNT(*) FROM sqlite_master WHERE name = 'userInfo';") == 0) {
        throw Fault(Ending::no, "nobody is enrolled in " + files_.database,
                    "No engine has used it yet: the first start makes its table.");
    }
}

void ExclusiveStore::requireFittingRows() const {
    SqliteStatement query(connection_,
                          "SELECT COUNT(*) FROM userInfo WHERE typeof(vector_data) IS NOT 'blob' "
                          "OR length(vector_data) IS NOT ?;");
    if (!query.bindAll(static_cast<std::int64_t>(files_.rowBytes())) || !query.stepToRow()) {
        fail("cannot be read");
    }
    if (query.int64At(0) > 0) {
        throw EngineFault("the store has palms with templates of another size than " +
                              std::to_string(files_.rowBytes()) + " bytes",
                          "Set database.regis_center_count to the number they were enrolled with. "
                          "A start of the engine cuts or repeats them to fit.");
    }
}

void ExclusiveStore::fail(const std::string& what) const {
    throw EngineFault(
        "the database " + files_.database + " " + what + ": " + connection_.errorText(),
        kCheckStore);
}

std::int64_t ExclusiveStore::number(const char* sql) const {
    SqliteStatement query(connection_, sql);
    switch (query.step()) {
        case SQLITE_ROW: return query.int64At(0);
        case SQLITE_DONE: return 0;
        default: fail("cannot be read");
    }
}

// The note comes first: from then on a start compares every slot, whatever happens in between. The
// cache is emptied before the commit, so that a cut leaves no feature of a palm that is gone.
void ExclusiveStore::commit() {
    leaveNote(files_);
    emptyCache(files_);
    if (sqlite3_exec(connection_.handle(), "COMMIT;", nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail("cannot be written");
    }
    connection_.settle();
}

}  // namespace brairu::tool
