// Owners of SQLite's handles. None of them ever passes a null handle to SQLite: what has no handle
// answers like SQLite's misuse, and its operations fail.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <span>
#include <string>

namespace brairu {

class SqliteConnection {
public:
    SqliteConnection() = default;
    ~SqliteConnection() { close(); }
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    // Closes the connection held so far and opens the file, creating it if need be. Returns
    // SQLite's result code; after a failure the handle stays, to be asked for its error text and
    // closed.
    int open(const std::string& path);

    // All statements must be gone by then.
    void close();

    bool isOpen() const { return handle_ != nullptr; }

    // After a commit: waits until the journal's removal is on the disk. SQLite by itself leaves that
    // to the file system, and a journal that comes back after a power cut undoes the commit.
    void settle() const;

    // Runs a statement without results. Returns SQLite's result code.
    int execute(const char* sql);

    // Whether a BEGIN was neither committed nor undone.
    bool isInTransaction() const;

    // SQLite's text for the last fault.
    std::string errorText() const;

    // For the owners below; null without a connection.
    sqlite3* handle() const { return handle_; }

private:
    sqlite3* handle_ = nullptr;
};

class SqliteStatement {
public:
    SqliteStatement(const SqliteConnection& connection, const char* sql);
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    bool isPrepared() const { return handle_ != nullptr; }

    // Parameters count from 1. Blobs and texts are not copied: they must live until the last step.
    bool bind(int parameter, std::int32_t value);
    bool bind(int parameter, std::int64_t value);
    bool bind(int parameter, std::span<const std::uint8_t> blob);
    bool bind(int parameter, const char* text);

    // Binds the values to the parameters 1, 2, ... up to the first that fails.
    template <typename... Values>
    bool bindAll(const Values&... values) {
        int parameter = 0;
        return (bind(++parameter, values) && ...);
    }

    // SQLite's result code.
    int step();
    bool stepToRow() { return step() == SQLITE_ROW; }
    bool stepToEnd() { return step() == SQLITE_DONE; }

    // Columns of the row stepped to, from 0.
    std::int32_t int32At(int column) const { return sqlite3_column_int(handle_, column); }
    std::int64_t int64At(int column) const { return sqlite3_column_int64(handle_, column); }
    // Valid until the next step; empty when there is no blob, or no memory to form it in.
    std::span<const std::uint8_t> blobAt(int column) const;
    int sizeAt(int column) const { return sqlite3_column_bytes(handle_, column); }

private:
    sqlite3_stmt* handle_ = nullptr;
};

// One blob of a row, open for writing in place. Its size cannot change.
class SqliteBlob {
public:
    SqliteBlob(const SqliteConnection& connection, const char* table, const char* column,
               std::int64_t rowId);
    ~SqliteBlob() { close(); }
    SqliteBlob(const SqliteBlob&) = delete;
    SqliteBlob& operator=(const SqliteBlob&) = delete;

    bool isOpen() const { return handle_ != nullptr; }
    bool write(std::span<const std::uint8_t> data, std::int64_t offset);

    // Commits what was written. False if that failed, or if nothing was open.
    bool close();

private:
    sqlite3_blob* handle_ = nullptr;
};

}  // namespace brairu
