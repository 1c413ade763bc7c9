#include "store/bareSqlite.h"

#include <stdexcept>

namespace brairu::bench {
namespace {

sqlite3* opened(const std::string& path) {
    sqlite3* handle = nullptr;
    sqlite3_open(path.c_str(), &handle);
    return handle;
}

}  // namespace

BareSqlite::BareSqlite(const std::string& path) : connection_(opened(path)) {
    require(connection_ != nullptr && sqlite3_errcode(connection_.get()) == SQLITE_OK);
}

void BareSqlite::run(const char* sql) {
    require(sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK);
}

void BareSqlite::insert(int userid, std::span<const std::uint8_t> blob) {
    if (insert_ == nullptr) {
        insert_ = prepare(
            "INSERT INTO userInfo (userid, palmindex, vector_data, learn_count) "
            "VALUES (?, 0, ?, 50);");
    }
    sqlite3_bind_int(insert_.get(), 1, userid);
    sqlite3_bind_blob64(insert_.get(), 2, blob.data(), blob.size(), SQLITE_STATIC);
    sqlite3_step(insert_.get());
    require(sqlite3_reset(insert_.get()) == SQLITE_OK);
}

void BareSqlite::readLastId() {
    if (lastId_ == nullptr) {
        lastId_ = prepare("SELECT seq FROM sqlite_sequence WHERE name = 'userInfo';");
    }
    require(stepToRow(lastId_) && sqlite3_column_int64(lastId_.get(), 0) > 0);
    sqlite3_reset(lastId_.get());
}

void BareSqlite::rewrite(int id, std::span<const std::uint8_t> templates, int offset) {
    if (select_ == nullptr) {
        select_ = prepare("SELECT vector_data FROM userInfo WHERE id = ?;");
    }
    sqlite3_bind_int(select_.get(), 1, id);
    require(stepToRow(select_) && !blobAt(select_, 0).empty());
    sqlite3_reset(select_.get());
    sqlite3_blob* blob = nullptr;
    sqlite3_blob_open(connection_.get(), "main", "userInfo", "vector_data", id, 1, &blob);
    require(blob != nullptr);
    require(sqlite3_blob_write(blob, templates.data(), static_cast<int>(templates.size()),
                               offset) == SQLITE_OK);
    require(sqlite3_blob_close(blob) == SQLITE_OK);
}

BareSqlite::Statement BareSqlite::prepare(const char* sql) const {
    sqlite3_stmt* handle = nullptr;
    require(sqlite3_prepare_v2(connection_.get(), sql, -1, &handle, nullptr) == SQLITE_OK);
    return Statement(handle);
}

bool BareSqlite::stepToRow(const Statement& statement) const {
    const int result = sqlite3_step(statement.get());
    require(result == SQLITE_ROW || result == SQLITE_DONE);
    return result == SQLITE_ROW;
}

std::span<const std::uint8_t> BareSqlite::blobAt(const Statement& statement, int column) {
    const void* const bytes = sqlite3_column_blob(statement.get(), column);
    return {static_cast<const std::uint8_t*>(bytes),
            static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column))};
}

void BareSqlite::require(bool done) const {
    if (!done) {
        throw std::runtime_error(std::string("SQLite: ") + sqlite3_errmsg(connection_.get()));
    }
}

}  // namespace brairu::bench
