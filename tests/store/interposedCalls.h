// Stands between the code under test and SQLite and the system: fails calls that do not fail by
// themselves, with an error of SQLite's own, and keeps count.
#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace brairu::test {

struct Flush {
    std::size_t length;
    int flags;

    bool operator==(const Flush&) const = default;
};

struct InterposedCalls {
    static InterposedCalls& get();
    // Forgets settings and records, but for the live handles.
    static void reset();

    int failingParameter = 0;      // binding this parameter fails with "column index out of range"
    bool failBlobWrites = false;   // "SQL logic error"
    int allocationFault = 0;       // fallocate fails with this errno,
    int fillingFault = 0;          // and posix_fallocate with this one
    int interruptions = 0;         // so many calls of fallocate fail with EINTR before,
    int fillingInterruptions = 0;  // and so many of posix_fallocate
    off_t sizeAtFilling = -1;      // of the file, when posix_fallocate was called last
    std::function<void(sqlite3_stmt*)> beforeStep;
    std::function<void(sqlite3*, const std::string& sql)> afterExecute;
    sqlite3* lastOpened = nullptr;

    std::vector<Flush> flushes;         // calls of msync
    std::vector<std::string> commands;  // of system; they are run
    std::set<sqlite3_stmt*> liveStatements;
    int liveConnections = 0;
    int liveBlobs = 0;
};

// Whether the statement was prepared from that text.
bool isRunOf(const std::string& sql, sqlite3_stmt* statement);

// A hook for beforeStep: interrupts each run of that statement at its n-th step, from 1.
std::function<void(sqlite3_stmt*)> interruptAtStep(std::string sql, int n);

}  // namespace brairu::test
