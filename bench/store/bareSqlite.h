// SQLite without a store around it: the same statements over the same table, and nothing else.
// Each is prepared once, as whoever runs it often does.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace brairu::bench {

// Operations throw std::runtime_error with SQLite's text.
class BareSqlite {
public:
    explicit BareSqlite(const std::string& path);

    void run(const char* sql);

    // Reads every row: visit(id, blob).
    template <class Visit>
    void scan(Visit visit) {
        const Statement rows = prepare("SELECT id, vector_data FROM userInfo;");
        while (stepToRow(rows)) {
            visit(sqlite3_column_int(rows.get(), 0), blobAt(rows, 1));
        }
    }

    // The id that the last insertion took, of a table that has had one.
    void readLastId();

    void insert(int userid, std::span<const std::uint8_t> blob);

    // Reads the palm's templates, then writes those of them that begin at offset.
    void rewrite(int id, std::span<const std::uint8_t> templates, int offset);

private:
    struct Finalized {
        void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalized>;
    struct Closed {
        void operator()(sqlite3* handle) const { sqlite3_close(handle); }
    };

    Statement prepare(const char* sql) const;
    bool stepToRow(const Statement& statement) const;
    static std::span<const std::uint8_t> blobAt(const Statement& statement, int column);
    void require(bool done) const;

    std::unique_ptr<sqlite3, Closed> connection_;
    Statement lastId_;
    Statement insert_;
    Statement select_;
};

}  // namespace brairu::bench
