// What the template store does at every start of the engine.
#include <algorithm>
#include <iostream>

#include "store/blobMigration.h"
#include "store/storeLog.h"
#include "store/templateStore.h"

namespace brairu {

void TemplateStore::runStartupPass() {
    // A failed open shows in the statements that follow.
    openDatabase();
    createTable();
    const int rows = reportRowCount();
    bool mirrored = false;
    const MigrationOutcome migration = migrateRows(rows, mirrored);
    if (migration == MigrationOutcome::unreadable) {
        return;
    }
    if (!(agreesWith(rows) && mirrored) && !rebuildCache()) {
        return;
    }
    featureCount_ = cache_.count();
    if (featureCount_ != slotsOf(rows)) {
        return;
    }
    logStore("pva search init succ\r\n");
    if (cache_.isDoubtful() && migration == MigrationOutcome::clean) {
        cache_.settle();
    }
}

// Only what may have been left half done is worth the comparison.
MigrationOutcome TemplateStore::migrateRows(int rows, bool& mirrored) {
    const bool doubtful = cache_.isDoubtful() && cache_.isMapped();
    mirrored = !doubtful || cache_.count() == slotsOf(rows);
    const auto compare = [&](std::int64_t id, std::span<const std::uint8_t> blob) {
        mirrored = mirrored && (!doubtful || isMirrored(id - 1, blob));
    };
    return migrateBlobs(connection_, migratedSize(), compare);
}

// Without the table there is nothing to work on: the connection is given up until the next start.
bool TemplateStore::createTable() {
    const bool created =
        connection_.execute(
            "CREATE TABLE IF NOT EXISTS userInfo (id INTEGER PRIMARY KEY AUTOINCREMENT, "
            "userid UINT64, palmindex INT,vector_data BLOB,learn_count INT);") == SQLITE_OK;
    if (!created) {
        connection_.close();
    }
    return created;
}

int TemplateStore::reportRowCount() {
    SqliteStatement query(connection_, "SELECT COUNT(*) FROM userInfo;");
    if (!query.stepToRow()) {
        std::cerr << "Failed to execute query: " << connection_.errorText() << std::endl;
        return 0;
    }
    const int rows = query.int32At(0);
    std::cout << (rows > 0 ? "Table userInfo has data." : "Table userInfo is empty.") << std::endl;
    return rows;
}

// A centre count that makes no cache is taken for a typing error, which must not cost the
// templates.
std::size_t TemplateStore::migratedSize() const {
    return cache_.capacity() > 0 ? static_cast<std::size_t>(centreCount_) * kTemplateBytes : 0;
}

bool TemplateStore::agreesWith(int rows) const {
    return slotsOf(rows) == featureCount_ && (featureCount_ > 0 || rows == 0);
}

bool TemplateStore::rebuildCache() {
    logStore("######### pva search rebuild ############\r\n");
    cache_.clear();
    SqliteStatement rows(connection_, "SELECT id, vector_data FROM userInfo;");
    if (!rows.isPrepared()) {
        std::cerr << "准备查询失败: " << connection_.errorText() << std::endl;
        return false;
    }
    if (!placeAll(rows)) {
        std::cerr << "查询过程中出错: " << connection_.errorText() << std::endl;
    }
    return true;
}

// Whether the rows were read to the last one.
bool TemplateStore::placeAll(SqliteStatement& rows) {
    int result = rows.step();
    for (; result == SQLITE_ROW; result = rows.step()) {
        const auto blob = rows.blobAt(1);
        place(std::int64_t{rows.int32At(0)} - 1, blob, std::min(blob.size(), kBlockBytes));
    }
    cache_.flushLater();
    return result == SQLITE_DONE;
}

}  // namespace brairu
