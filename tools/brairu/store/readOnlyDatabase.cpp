#include "store/readOnlyDatabase.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace brairu::tool {
namespace {

constexpr int kPatienceMilliseconds = 2000;
constexpr char kBecomeOwner[] =
    "Run the command as the user that owns it, which is that of the engine, or as root.";
constexpr char kCheckStore[] =
    "Run \"brairu doctor\" for a check of the store; if another program writes to it, try again.";

struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

Statement prepared(sqlite3* handle, const char* sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(handle, sql, -1, &statement, nullptr);
    return Statement(statement);
}

StoredPalm palmAt(sqlite3_stmt* row) {
    const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(row, 3));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, 3));
    return {sqlite3_column_int64(row, 0), sqlite3_column_int64(row, 1), sqlite3_column_int(row, 2),
            sqlite3_column_int64(row, 4),
            bytes == nullptr ? std::span<const std::uint8_t>() : std::span(bytes, size)};
}

struct FinishBackup {
    void operator()(sqlite3_backup* backup) const { sqlite3_backup_finish(backup); }
};
using Backup = std::unique_ptr<sqlite3_backup, FinishBackup>;

// The lock is given back between the steps: an engine waits for none, and would have its write
// refused. Should it write so often that the copy never comes to its end, the last step takes all.
int copyInSteps(sqlite3_backup* backup, const std::function<void()>& betweenSteps) {
    constexpr int kPages = 64;
    constexpr int kEveryPage = -1;
    constexpr int kSmallSteps = 10000;
    constexpr int kPauseMilliseconds = 1;
    int result = SQLITE_OK;
    for (int step = 0; result == SQLITE_OK; ++step) {
        result = sqlite3_backup_step(backup, step < kSmallSteps ? kPages : kEveryPage);
        betweenSteps();
        sqlite3_sleep(kPauseMilliseconds);
    }
    return result;
}

// Why a database cannot be opened. SQLite itself does not tell a missing right from a missing file.
EngineFault unopenedDatabase(const std::string& path, int result) {
    const bool denied = ::access(path.c_str(), R_OK) != 0 && (errno == EACCES || errno == EPERM);
    if (denied) {
        return unreadableDatabase(path, std::generic_category().message(errno));
    }
    std::error_code isNone;
    if (std::filesystem::is_directory(path, isNone)) {
        return {"the database " + path + " is a folder",
                "Name a file in database.database_path of the configuration."};
    }
    return {"the database " + path + " cannot be opened: " + sqlite3_errstr(result),
            "Look whether the file and its folder are there, and whose they are."};
}

}  // namespace

EngineFault unreadableDatabase(const std::string& path, const std::string& why) {
    return {"the database " + path + " cannot be read: " + why, kBecomeOwner};
}

ReadOnlyDatabase::Handle ReadOnlyDatabase::open(const std::string& path, int flags) {
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &handle, flags, nullptr);
    Handle owner(handle);
    if (result != SQLITE_OK) {
        throw unopenedDatabase(path, result);
    }
    sqlite3_busy_timeout(handle, kPatienceMilliseconds);
    return owner;
}

ReadOnlyDatabase::ReadOnlyDatabase(const std::string& path)
    : path_(path), handle_(open(path, SQLITE_OPEN_READONLY)) {}

void ReadOnlyDatabase::fail(const std::string& what) const {
    throw EngineFault("the database " + path_ + " " + what + ": " + sqlite3_errmsg(handle_.get()),
                      kCheckStore);
}

std::optional<std::string> ReadOnlyDatabase::answer(const char* sql) const {
    const Statement query = prepared(handle_.get(), sql);
    switch (query ? sqlite3_step(query.get()) : SQLITE_ERROR) {
        case SQLITE_DONE: return std::nullopt;
        case SQLITE_ROW: break;
        default: fail("cannot be read");
    }
    const auto* text = sqlite3_column_text(query.get(), 0);
    return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

bool ReadOnlyDatabase::hasTable() const {
    return answer("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'userInfo';")
        .has_value();
}

std::string ReadOnlyDatabase::integrity() const {
    std::string verdict = answer("PRAGMA integrity_check(1);").value_or("");
    std::ranges::replace(verdict, '\n', ' ');
    return verdict;
}

void ReadOnlyDatabase::visit(const char* sql,
                             const std::function<void(sqlite3_stmt*)>& visitRow) const {
    const Statement rows = prepared(handle_.get(), sql);
    int result = rows ? sqlite3_step(rows.get()) : SQLITE_ERROR;
    for (; result == SQLITE_ROW; result = sqlite3_step(rows.get())) {
        visitRow(rows.get());
    }
    if (result != SQLITE_DONE) {
        fail("cannot be read");
    }
}

void ReadOnlyDatabase::visitPalms(const std::function<void(const StoredPalm&)>& visitPalm) const {
    visit("SELECT id, userid, palmindex, vector_data, learn_count FROM userInfo ORDER BY id;",
          [&](sqlite3_stmt* row) { visitPalm(palmAt(row)); });
}

void ReadOnlyDatabase::visitRows(
    const std::function<void(const StoredPalm&, std::size_t)>& visitRow) const {
    constexpr int kSizeColumn = 5;
    visit(
        "SELECT id, userid, palmindex, NULL, learn_count, length(vector_data) FROM userInfo "
        "ORDER BY id;",
        [&](sqlite3_stmt* row) {
            visitRow(palmAt(row), static_cast<std::size_t>(sqlite3_column_int64(row, kSizeColumn)));
        });
}

void ReadOnlyDatabase::copyTo(const std::string& path,
                              const std::function<void()>& betweenSteps) const {
    const Handle target = open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    copyInto(target.get(), betweenSteps);
}

ReadOnlyDatabase ReadOnlyDatabase::copyInMemory() const {
    ReadOnlyDatabase copy(path_, open(":memory:", SQLITE_OPEN_READWRITE));
    copyInto(copy.handle_.get(), [] {});
    return copy;
}

void ReadOnlyDatabase::visitFileContent(
    const std::function<void(std::string_view)>& visitBytes) const {
    struct Free {
        void operator()(unsigned char* bytes) const { sqlite3_free(bytes); }
    };
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, Free> bytes(
        sqlite3_serialize(handle_.get(), "main", &size, 0));
    if (!bytes) {
        throw EngineFault("there is no memory for a copy of the database " + path_,
                          "Close other programs.");
    }
    visitBytes({reinterpret_cast<const char*>(bytes.get()), static_cast<std::size_t>(size)});
}

void ReadOnlyDatabase::copyInto(sqlite3* target, const std::function<void()>& betweenSteps) const {
    Backup backup(sqlite3_backup_init(target, "main", handle_.get(), "main"));
    if (!backup) {
        fail("cannot be copied");
    }
    const int result = copyInSteps(backup.get(), betweenSteps);
    const int finished = sqlite3_backup_finish(backup.release());
    if (result != SQLITE_DONE || finished != SQLITE_OK) {
        throw EngineFault("the database " + path_ + " cannot be copied: " + sqlite3_errstr(result),
                          kCheckStore);
    }
}

}  // namespace brairu::tool
