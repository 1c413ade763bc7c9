#include "interposedCalls.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <utility>

#include "support/interposing.h"

namespace brairu::test {
namespace {

constexpr int kNoSuchParameter = 999;

// SQLite prepares and finishes statements of its own in there, not always through its interface.
thread_local int executing = 0;
constexpr int kBeyondAnyBlob = 1 << 30;

bool isInterrupted(int& left) {
    return left > 0 && left-- > 0;
}

off_t sizeOf(int fd) {
    struct stat status {};
    return ::fstat(fd, &status) == 0 ? status.st_size : -1;
}

int parameterFor(int parameter) {
    return parameter == InterposedCalls::get().failingParameter ? kNoSuchParameter : parameter;
}

}  // namespace

InterposedCalls& InterposedCalls::get() {
    static auto& calls = *new InterposedCalls;
    return calls;
}

void InterposedCalls::reset() {
    InterposedCalls fresh;
    fresh.liveStatements = get().liveStatements;
    fresh.liveConnections = get().liveConnections;
    fresh.liveBlobs = get().liveBlobs;
    get() = fresh;
}

bool isRunOf(const std::string& sql, sqlite3_stmt* statement) {
    const char* const text = sqlite3_sql(statement);
    return text != nullptr && sql == text;
}

std::function<void(sqlite3_stmt*)> interruptAtStep(std::string sql, int n) {
    return [sql = std::move(sql), n,
            steps = std::map<sqlite3_stmt*, int>()](sqlite3_stmt* statement) mutable {
        if (isRunOf(sql, statement) && ++steps[statement] == n) {
            steps.erase(statement);
            sqlite3_interrupt(sqlite3_db_handle(statement));
        }
    };
}

}  // namespace brairu::test

using brairu::test::executing;
using brairu::test::InterposedCalls;
using brairu::test::isInterrupted;
using brairu::test::next;
using brairu::test::parameterFor;

BRAIRU_INTERPOSED int sqlite3_bind_int(sqlite3_stmt* statement, int parameter, int value) {
    return next(&sqlite3_bind_int, "sqlite3_bind_int")(statement, parameterFor(parameter), value);
}

BRAIRU_INTERPOSED int sqlite3_bind_int64(sqlite3_stmt* statement, int parameter,
                                         sqlite3_int64 value) {
    return next(&sqlite3_bind_int64, "sqlite3_bind_int64")(statement, parameterFor(parameter),
                                                           value);
}

BRAIRU_INTERPOSED int sqlite3_bind_blob64(sqlite3_stmt* statement, int parameter, const void* data,
                                          sqlite3_uint64 size, void (*destroy)(void*)) {
    return next(&sqlite3_bind_blob64, "sqlite3_bind_blob64")(statement, parameterFor(parameter),
                                                             data, size, destroy);
}

BRAIRU_INTERPOSED int sqlite3_bind_text(sqlite3_stmt* statement, int parameter, const char* text,
                                        int size, void (*destroy)(void*)) {
    return next(&sqlite3_bind_text, "sqlite3_bind_text")(statement, parameterFor(parameter), text,
                                                         size, destroy);
}

BRAIRU_INTERPOSED int sqlite3_step(sqlite3_stmt* statement) {
    if (const auto& hook = InterposedCalls::get().beforeStep) {
        hook(statement);
    }
    return next(&sqlite3_step, "sqlite3_step")(statement);
}

BRAIRU_INTERPOSED int sqlite3_exec(sqlite3* connection, const char* sql,
                                   int (*row)(void*, int, char**, char**), void* context,
                                   char** fault) {
    ++executing;
    const int result = next(&sqlite3_exec, "sqlite3_exec")(connection, sql, row, context, fault);
    --executing;
    if (const auto hook = InterposedCalls::get().afterExecute) {
        hook(connection, sql);
    }
    return result;
}

BRAIRU_INTERPOSED int sqlite3_prepare_v2(sqlite3* connection, const char* sql, int size,
                                         sqlite3_stmt** statement, const char** tail) {
    const int result =
        next(&sqlite3_prepare_v2, "sqlite3_prepare_v2")(connection, sql, size, statement, tail);
    if (*statement != nullptr && executing == 0) {
        InterposedCalls::get().liveStatements.insert(*statement);
    }
    return result;
}

BRAIRU_INTERPOSED int sqlite3_finalize(sqlite3_stmt* statement) {
    InterposedCalls::get().liveStatements.erase(statement);
    return next(&sqlite3_finalize, "sqlite3_finalize")(statement);
}

BRAIRU_INTERPOSED int sqlite3_open(const char* path, sqlite3** connection) {
    const int result = next(&sqlite3_open, "sqlite3_open")(path, connection);
    InterposedCalls::get().liveConnections += *connection != nullptr;
    InterposedCalls::get().lastOpened = *connection;
    return result;
}

BRAIRU_INTERPOSED int sqlite3_close(sqlite3* connection) {
    const int result = next(&sqlite3_close, "sqlite3_close")(connection);
    InterposedCalls::get().liveConnections -= result == SQLITE_OK;
    return result;
}

BRAIRU_INTERPOSED int sqlite3_blob_open(sqlite3* connection, const char* database,
                                        const char* table, const char* column, sqlite3_int64 row,
                                        int flags, sqlite3_blob** blob) {
    const int result = next(&sqlite3_blob_open, "sqlite3_blob_open")(connection, database, table,
                                                                     column, row, flags, blob);
    InterposedCalls::get().liveBlobs += *blob != nullptr;
    return result;
}

BRAIRU_INTERPOSED int sqlite3_blob_close(sqlite3_blob* blob) {
    InterposedCalls::get().liveBlobs -= blob != nullptr;
    return next(&sqlite3_blob_close, "sqlite3_blob_close")(blob);
}

BRAIRU_INTERPOSED int sqlite3_blob_write(sqlite3_blob* blob, const void* data, int size,
                                         int offset) {
    const int target =
        InterposedCalls::get().failBlobWrites ? brairu::test::kBeyondAnyBlob : offset;
    return next(&sqlite3_blob_write, "sqlite3_blob_write")(blob, data, size, target);
}

BRAIRU_INTERPOSED int msync(void* address, std::size_t length, int flags) {
    InterposedCalls::get().flushes.push_back({length, flags});
    using Function = int(void*, std::size_t, int);
    return next<Function>("msync")(address, length, flags);
}

BRAIRU_INTERPOSED int fallocate64(int fd, int mode, off64_t offset, off64_t size) {
    using Function = int(int, int, off64_t, off64_t);
    InterposedCalls& calls = InterposedCalls::get();
    const int fault = isInterrupted(calls.interruptions) ? EINTR : calls.allocationFault;
    if (fault != 0) {
        errno = fault;
        return -1;
    }
    return next<Function>("fallocate64")(fd, mode, offset, size);
}

BRAIRU_INTERPOSED int posix_fallocate64(int fd, off64_t offset, off64_t size) {
    using Function = int(int, off64_t, off64_t);
    InterposedCalls& calls = InterposedCalls::get();
    calls.sizeAtFilling = brairu::test::sizeOf(fd);
    const int fault = isInterrupted(calls.fillingInterruptions) ? EINTR : calls.fillingFault;
    return fault != 0 ? fault : next<Function>("posix_fallocate64")(fd, offset, size);
}

BRAIRU_INTERPOSED int system(const char* command) {
    InterposedCalls::get().commands.emplace_back(command);
    using Function = int(const char*);
    return next<Function>("system")(command);
}
