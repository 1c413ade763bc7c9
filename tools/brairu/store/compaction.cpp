#include "store/compaction.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "fault.h"
#include "store/cacheRenewal.h"
#include "store/privateFile.h"
#include "utils/folderSync.h"

namespace brairu::tool {
namespace {

constexpr char kNothingChanged[] = "Nothing was changed. Look for a full disk, or missing rights.";
constexpr char kSelectInOrder[] =
    "SELECT userid, palmindex, vector_data, learn_count FROM userInfo ORDER BY id;";
constexpr int kColumns = 4;

constexpr std::string_view kNewEnding = ".compacted";

std::string newNameOf(const std::string& database) {
    return database + std::string(kNewEnding);
}

// SQLite's journal and the renaming belong to the file itself, not to a link to it.
std::string pathWithoutLinks(const std::string& database) {
    std::error_code ignored;
    const std::string path = std::filesystem::canonical(database, ignored).string();
    return path.empty() ? database : path;
}

[[noreturn]] void failWithErrno(const std::string& what) {
    throw EngineFault(what + ": " + std::generic_category().message(errno), kNothingChanged);
}

std::string textOf(const SqliteConnection& connection, const char* sql) {
    SqliteStatement query(connection, sql);
    if (!query.stepToRow()) {
        return {};
    }
    const auto text = query.blobAt(0);
    return {text.begin(), text.end()};
}

class NewDatabase {
public:
    explicit NewDatabase(const std::string& path) : path_(path) {
        require(connection_.open(path) == SQLITE_OK);
        // A file that is cut short is thrown away: it needs no journal.
        execute("PRAGMA journal_mode = MEMORY;");
        execute("PRAGMA synchronous = FULL;");
    }

    const SqliteConnection& connection() const { return connection_; }

    void execute(const char* sql) { require(connection_.execute(sql) == SQLITE_OK); }

    void require(bool done) const {
        if (!done) {
            throw EngineFault(path_ + " cannot be written: " + connection_.errorText(),
                              kNothingChanged);
        }
    }

private:
    std::string path_;
    SqliteConnection connection_;
};

// Only what the library itself makes would be in the new file.
void requireLibrarysTablesOnly(const ExclusiveStore& store) {
    const std::int64_t others = store.number(
        "SELECT COUNT(*) FROM sqlite_master WHERE name NOT IN ('userInfo', 'sqlite_sequence');");
    if (others > 0) {
        throw EngineFault("the database " + store.files().database +
                              " holds tables or indexes of another program",
                          "A compaction would lose them: move them to a database of their own.");
    }
}

void bindRow(NewDatabase& target, SqliteStatement& insert, std::int64_t number,
             const SqliteStatement& row) {
    target.require(
        insert.bindAll(number, row.int64At(0), row.int64At(1), row.blobAt(2), row.int64At(3)) &&
        insert.stepToEnd());
}

void copyRows(const ExclusiveStore& store, NewDatabase& target) {
    SqliteStatement rows(store.connection(), kSelectInOrder);
    std::int64_t number = 0;
    int result = rows.step();
    for (; result == SQLITE_ROW; result = rows.step()) {
        SqliteStatement insert(target.connection(),
                               "INSERT INTO userInfo (id, userid, palmindex, vector_data, "
                               "learn_count) VALUES (?, ?, ?, ?, ?);");
        bindRow(target, insert, ++number, rows);
    }
    if (result != SQLITE_DONE) {
        store.fail("cannot be read");
    }
}

void writeNewDatabase(const ExclusiveStore& store, const std::string& path) {
    NewDatabase target(path);
    target.execute("BEGIN;");
    target.execute(
        textOf(store.connection(), "SELECT sql FROM sqlite_master WHERE name = 'userInfo';")
            .c_str());
    copyRows(store, target);
    target.execute("COMMIT;");
}

bool areEqualRows(const SqliteStatement& a, const SqliteStatement& b) {
    for (int column = 0; column < kColumns; ++column) {
        if (!std::ranges::equal(a.blobAt(column), b.blobAt(column))) {
            return false;
        }
    }
    return true;
}

bool areEqualTables(const SqliteConnection& a, const SqliteConnection& b) {
    SqliteStatement rowsOfA(a, kSelectInOrder);
    SqliteStatement rowsOfB(b, kSelectInOrder);
    for (;;) {
        const int result = rowsOfA.step();
        if (rowsOfB.step() != result) {
            return false;
        }
        if (result != SQLITE_ROW) {
            return result == SQLITE_DONE;
        }
        if (!areEqualRows(rowsOfA, rowsOfB)) {
            return false;
        }
    }
}

bool isNumberedWithoutGaps(const SqliteConnection& connection, std::int64_t palms) {
    const std::string count = std::to_string(palms);
    return textOf(connection, "SELECT COUNT(*) FROM userInfo;") == count &&
           textOf(connection, "SELECT COALESCE(MAX(id), 0) FROM userInfo;") == count &&
           textOf(connection,
                  "SELECT COALESCE(MAX(seq), 0) FROM sqlite_sequence WHERE name = 'userInfo';") ==
               count;
}

void requireSameContent(const ExclusiveStore& store, const std::string& path, std::int64_t palms) {
    const NewDatabase written(path);
    if (textOf(written.connection(), "PRAGMA integrity_check(1);") != "ok" ||
        !areEqualTables(store.connection(), written.connection()) ||
        !isNumberedWithoutGaps(written.connection(), palms)) {
        throw EngineFault("the new database " + path + " is not what was written to it",
                          "Nothing was changed. Check the disk.");
    }
}

// The engine has to be able to use it as before.
void giveRights(const std::string& path, const std::string& model) {
    struct stat status {};
    if (::stat(model.c_str(), &status) != 0 ||
        ::chown(path.c_str(), status.st_uid, status.st_gid) != 0 ||
        ::chmod(path.c_str(), status.st_mode & 07777) != 0) {
        failWithErrno("the rights of " + model + " cannot be given to the new database");
    }
}

// The new file takes over the name in one step of the file system: at every moment, a power cut
// included, the name leads to a whole database, the old one or the new one. Neither has a journal:
// the old one is locked and unwritten, and the folder is waited for before, so that no earlier
// journal comes back and is taken for the new one's.
void putInPlace(const std::string& database) {
    if (!syncFolderOf(database)) {
        throw EngineFault("the folder of " + database + " cannot be brought to the disk",
                          kNothingChanged);
    }
    if (std::rename(newNameOf(database).c_str(), database.c_str()) != 0) {
        failWithErrno(database + " cannot be replaced");
    }
    syncFolderOf(database);
}

void removeFile(const std::string& path) {
    ::unlink(path.c_str());
}

// It holds templates: where it was not put in place it goes, while the store is still locked.
class NewFileRemoval {
public:
    explicit NewFileRemoval(const std::string& database) : path_(newNameOf(database)) {}
    ~NewFileRemoval() { removeFile(path_); }
    NewFileRemoval(const NewFileRemoval&) = delete;
    NewFileRemoval& operator=(const NewFileRemoval&) = delete;

private:
    std::string path_;
};

void writeNewFile(const ExclusiveStore& store, const std::string& database, std::int64_t palms,
                  const StepVisitor& betweenSteps) {
    PrivateFile file(newNameOf(database), PrivateFile::Before::named);
    betweenSteps();
    writeNewDatabase(store, file.workingPath());
    betweenSteps();
    requireSameContent(store, file.workingPath(), palms);
    giveRights(file.workingPath(), database);
    betweenSteps();
    file.keep();
}

}  // namespace

std::vector<std::string> compactionLeftovers(const std::string& database) {
    const std::string name = newNameOf(pathWithoutLinks(database));
    std::vector<std::string> files = PrivateFile::workingFilesOf(name);
    std::error_code ignored;
    if (std::filesystem::exists(name, ignored)) {
        files.insert(files.begin(), name);
    }
    return files;
}

void removeCompactionLeftovers(const std::string& database) {
    std::ranges::for_each(compactionLeftovers(database), removeFile);
    syncFolderOf(pathWithoutLinks(database));
}

Compaction compact(const ExclusiveStore& store, const StepVisitor& betweenSteps) {
    const std::string database = pathWithoutLinks(store.files().database);
    requireLibrarysTablesOnly(store);
    Compaction done;
    done.palms = store.number("SELECT COUNT(*) FROM userInfo;");
    done.lastNumber = store.number("SELECT seq FROM sqlite_sequence WHERE name = 'userInfo';");
    done.bytesBefore = std::filesystem::file_size(database);
    removeCompactionLeftovers(database);
    betweenSteps();
    const NewFileRemoval removal(database);
    writeNewFile(store, database, done.palms, betweenSteps);
    done.bytesAfter = std::filesystem::file_size(newNameOf(database));
    betweenSteps();
    leaveNote(store.files());
    betweenSteps();
    emptyCache(store.files());
    betweenSteps();
    putInPlace(database);
    betweenSteps();
    return done;
}

}  // namespace brairu::tool
