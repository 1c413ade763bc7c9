#include "store/sqlite.h"

#include <limits>
#include <utility>

#include "utils/folderSync.h"

namespace brairu {

int SqliteConnection::open(const std::string& path) {
    close();
    return sqlite3_open(path.c_str(), &handle_);
}

void SqliteConnection::close() {
    if (sqlite3* const handle = std::exchange(handle_, nullptr)) {
        sqlite3_close(handle);
    }
}

void SqliteConnection::settle() const {
    const char* const path = isOpen() ? sqlite3_db_filename(handle_, "main") : nullptr;
    if (path != nullptr) {
        syncFolderOf(path);
    }
}

int SqliteConnection::execute(const char* sql) {
    return isOpen() ? sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) : SQLITE_MISUSE;
}

bool SqliteConnection::isInTransaction() const {
    return isOpen() && sqlite3_get_autocommit(handle_) == 0;
}

// Without a connection the text is the one that SQLite itself has for that case.
std::string SqliteConnection::errorText() const {
    return isOpen() ? sqlite3_errmsg(handle_) : sqlite3_errstr(SQLITE_NOMEM);
}

SqliteStatement::SqliteStatement(const SqliteConnection& connection, const char* sql) {
    if (connection.isOpen()) {
        sqlite3_prepare_v2(connection.handle(), sql, -1, &handle_, nullptr);
    }
}

SqliteStatement::~SqliteStatement() {
    if (isPrepared()) {
        sqlite3_finalize(handle_);
    }
}

bool SqliteStatement::bind(int parameter, std::int32_t value) {
    return isPrepared() && sqlite3_bind_int(handle_, parameter, value) == SQLITE_OK;
}

bool SqliteStatement::bind(int parameter, std::int64_t value) {
    return isPrepared() && sqlite3_bind_int64(handle_, parameter, value) == SQLITE_OK;
}

bool SqliteStatement::bind(int parameter, std::span<const std::uint8_t> blob) {
    return isPrepared() && sqlite3_bind_blob64(handle_, parameter, blob.data(), blob.size(),
                                               SQLITE_STATIC) == SQLITE_OK;
}

bool SqliteStatement::bind(int parameter, const char* text) {
    return isPrepared() &&
           sqlite3_bind_text(handle_, parameter, text, -1, SQLITE_STATIC) == SQLITE_OK;
}

int SqliteStatement::step() {
    return isPrepared() ? sqlite3_step(handle_) : SQLITE_MISUSE;
}

// The pointer is asked for first: that is what brings the value into its final form and size.
std::span<const std::uint8_t> SqliteStatement::blobAt(int column) const {
    const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(handle_, column));
    const int size = sizeAt(column);
    if (data == nullptr || size <= 0) {
        return {};
    }
    return {data, static_cast<std::size_t>(size)};
}

SqliteBlob::SqliteBlob(const SqliteConnection& connection, const char* table, const char* column,
                       std::int64_t rowId) {
    constexpr int kWritable = 1;
    if (connection.isOpen()) {
        sqlite3_blob_open(connection.handle(), "main", table, column, rowId, kWritable, &handle_);
    }
}

bool SqliteBlob::write(std::span<const std::uint8_t> data, std::int64_t offset) {
    constexpr auto kLimit = std::numeric_limits<int>::max();
    if (!isOpen() || offset < 0 || offset > kLimit || data.size() > kLimit) {
        return false;
    }
    return sqlite3_blob_write(handle_, data.data(), static_cast<int>(data.size()),
                              static_cast<int>(offset)) == SQLITE_OK;
}

bool SqliteBlob::close() {
    sqlite3_blob* const handle = std::exchange(handle_, nullptr);
    return handle != nullptr && sqlite3_blob_close(handle) == SQLITE_OK;
}

}  // namespace brairu
