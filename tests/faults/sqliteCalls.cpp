// SQLite's interface under fault injection. A call that fails does nothing.
#include <sqlite3.h>

#include "faultInjection.h"
#include "support/interposing.h"

namespace {

using brairu::test::FaultKind;
using brairu::test::faultStrikes;
using brairu::test::liveHandles;
using brairu::test::next;

// Some calls prepare and finish statements of their own, not always through the interface.
thread_local constinit int insideSqlite = 0;

bool strikes(const char* call) {
    return insideSqlite == 0 && faultStrikes(FaultKind::sqliteCall, call);
}

}  // namespace

BRAIRU_INTERPOSED int sqlite3_open(const char* path, sqlite3** connection) {
    if (strikes(__func__)) {
        *connection = nullptr;
        return SQLITE_NOMEM;
    }
    const int result = next(&sqlite3_open, "sqlite3_open")(path, connection);
    liveHandles().connections += *connection != nullptr;
    return result;
}

BRAIRU_INTERPOSED int sqlite3_close(sqlite3* connection) {
    const int result = next(&sqlite3_close, "sqlite3_close")(connection);
    liveHandles().connections -= connection != nullptr && result == SQLITE_OK;
    return result;
}

BRAIRU_INTERPOSED int sqlite3_exec(sqlite3* connection, const char* sql,
                                   int (*row)(void*, int, char**, char**), void* context,
                                   char** fault) {
    if (strikes(__func__)) {
        return SQLITE_IOERR;
    }
    ++insideSqlite;
    const int result = next(&sqlite3_exec, "sqlite3_exec")(connection, sql, row, context, fault);
    --insideSqlite;
    return result;
}

BRAIRU_INTERPOSED int sqlite3_prepare_v2(sqlite3* connection, const char* sql, int size,
                                         sqlite3_stmt** statement, const char** tail) {
    if (strikes(__func__)) {
        *statement = nullptr;
        return SQLITE_NOMEM;
    }
    const int result =
        next(&sqlite3_prepare_v2, "sqlite3_prepare_v2")(connection, sql, size, statement, tail);
    liveHandles().statements += *statement != nullptr && insideSqlite == 0;
    return result;
}

BRAIRU_INTERPOSED int sqlite3_finalize(sqlite3_stmt* statement) {
    liveHandles().statements -= statement != nullptr && insideSqlite == 0;
    return next(&sqlite3_finalize, "sqlite3_finalize")(statement);
}

BRAIRU_INTERPOSED int sqlite3_bind_int(sqlite3_stmt* statement, int parameter, int value) {
    return strikes(__func__)
               ? SQLITE_NOMEM
               : next(&sqlite3_bind_int, "sqlite3_bind_int")(statement, parameter, value);
}

BRAIRU_INTERPOSED int sqlite3_bind_int64(sqlite3_stmt* statement, int parameter,
                                         sqlite3_int64 value) {
    return strikes(__func__)
               ? SQLITE_NOMEM
               : next(&sqlite3_bind_int64, "sqlite3_bind_int64")(statement, parameter, value);
}

BRAIRU_INTERPOSED int sqlite3_bind_blob64(sqlite3_stmt* statement, int parameter, const void* data,
                                          sqlite3_uint64 size, void (*destroy)(void*)) {
    return strikes(__func__) ? SQLITE_TOOBIG
                             : next(&sqlite3_bind_blob64, "sqlite3_bind_blob64")(
                                   statement, parameter, data, size, destroy);
}

BRAIRU_INTERPOSED int sqlite3_bind_text(sqlite3_stmt* statement, int parameter, const char* text,
                                        int size, void (*destroy)(void*)) {
    return strikes(__func__) ? SQLITE_NOMEM
                             : next(&sqlite3_bind_text, "sqlite3_bind_text")(statement, parameter,
                                                                             text, size, destroy);
}

BRAIRU_INTERPOSED int sqlite3_step(sqlite3_stmt* statement) {
    return strikes(__func__) ? SQLITE_IOERR : next(&sqlite3_step, "sqlite3_step")(statement);
}

BRAIRU_INTERPOSED const void* sqlite3_column_blob(sqlite3_stmt* statement, int column) {
    return strikes(__func__) ? nullptr
                             : next(&sqlite3_column_blob, "sqlite3_column_blob")(statement, column);
}

BRAIRU_INTERPOSED int sqlite3_blob_open(sqlite3* connection, const char* database,
                                        const char* table, const char* column, sqlite3_int64 row,
                                        int flags, sqlite3_blob** blob) {
    if (strikes(__func__)) {
        *blob = nullptr;
        return SQLITE_BUSY;
    }
    ++insideSqlite;
    const int result = next(&sqlite3_blob_open, "sqlite3_blob_open")(connection, database, table,
                                                                     column, row, flags, blob);
    --insideSqlite;
    liveHandles().blobs += *blob != nullptr;
    return result;
}

BRAIRU_INTERPOSED int sqlite3_blob_write(sqlite3_blob* blob, const void* data, int size,
                                         int offset) {
    return strikes(__func__)
               ? SQLITE_IOERR
               : next(&sqlite3_blob_write, "sqlite3_blob_write")(blob, data, size, offset);
}

BRAIRU_INTERPOSED int sqlite3_blob_close(sqlite3_blob* blob) {
    liveHandles().blobs -= blob != nullptr;
    ++insideSqlite;
    const int result = next(&sqlite3_blob_close, "sqlite3_blob_close")(blob);
    --insideSqlite;
    return result;
}
