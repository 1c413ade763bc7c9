// The template database, opened so that nothing in it can change: a door may be using it.
#pragma once

#include <sqlite3.h>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fault.h"

namespace brairu::tool {

// One enrolled palm.
struct StoredPalm {
    std::int64_t rowId = 0;
    std::int64_t userid = 0;
    std::int32_t palmindex = 0;
    std::int64_t learnCount = 0;
    std::span<const std::uint8_t> templates;  // valid during the visit only
};

// Of a database that this user may not read.
EngineFault unreadableDatabase(const std::string& path, const std::string& why);

class ReadOnlyDatabase {
public:
    // Throws EngineFault when the file cannot be opened.
    explicit ReadOnlyDatabase(const std::string& path);

    // The first column of the first row of a query; nothing without one. Throws EngineFault.
    std::optional<std::string> answer(const char* sql) const;

    // A database that no engine has started on has no table of palms yet.
    bool hasTable() const;

    // "ok", or the first thing that SQLite finds wrong, in a line. Throws EngineFault.
    std::string integrity() const;

    // Every row of the table, in the order of their ids. Throws EngineFault.
    void visitPalms(const std::function<void(const StoredPalm&)>& visit) const;

    // The same, but for the templates: of them there is the size alone.
    void visitRows(
        const std::function<void(const StoredPalm&, std::size_t templateBytes)>& visit) const;

    // Copies the whole database to a new file, as it is at one moment. An engine can write between
    // the steps of the copy, which then begins anew. betweenSteps is called after each. Throws
    // EngineFault.
    void copyTo(
        const std::string& path, const std::function<void()>& betweenSteps = [] {}) const;

    // The same copy, which is nowhere on the disk.
    ReadOnlyDatabase copyInMemory() const;

    // What a file of this database holds, byte by byte; valid during the visit only. Throws
    // EngineFault without memory for it.
    void visitFileContent(const std::function<void(std::string_view)>& visit) const;

private:
    struct Close {
        void operator()(sqlite3* handle) const { sqlite3_close(handle); }
    };
    using Handle = std::unique_ptr<sqlite3, Close>;

    ReadOnlyDatabase(std::string path, Handle handle)
        : path_(std::move(path)), handle_(std::move(handle)) {}

    void visit(const char* sql, const std::function<void(sqlite3_stmt*)>& visitRow) const;
    void copyInto(sqlite3* target, const std::function<void()>& betweenSteps) const;
    static Handle open(const std::string& path, int flags);
    [[noreturn]] void fail(const std::string& what) const;

    std::string path_;
    Handle handle_;
};

}  // namespace brairu::tool
