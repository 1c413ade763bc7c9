// The template database, its mirror in the feature cache, and the bookkeeping between them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "brairu.h"
#include "config/configStore.h"
#include "store/blobMigration.h"
#include "store/featureCacheFile.h"
#include "store/palmTemplate.h"
#include "store/sqlite.h"

namespace brairu {

// The feature cache of a configured search index: configurations written for an older index format
// keep working with the cache file.
std::string cacheFileName(std::string searchIndexPath);

// Operations return true for success. Without a connection all that need one fail; the next
// start-up pass opens it again. SQLite stays the record of truth: results of cache writes are not
// looked at, and the start-up pass repairs what diverged.
class TemplateStore {
public:
    // Reads the store's settings from the engine's document and sets up the cache. A setting that
    // is missing or of the wrong type raises the JSON library's type_error.
    explicit TemplateStore(const ConfigDocument& document);
    ~TemplateStore();
    TemplateStore(const TemplateStore&) = delete;
    TemplateStore& operator=(const TemplateStore&) = delete;

    // What the destructor does, for a store that is never destroyed.
    void endForExit();

    // The store's own copy of the configuration; the setters refresh it.
    ConfigDocument& config() { return config_; }

    // Opens the database, brings every blob to the configured template count, and rebuilds the
    // cache if it disagrees with the table: in number or, if it is in doubt, in any slot. Relative
    // paths are taken from the working directory of the construction. Reports faults as text only;
    // a database path that is no text raises type_error and leaves everything as it was.
    void runStartupPass();

    // -1 without such a row.
    int getLearnCount(int id);
    bool setLearnCount(int id, int value);

    // Reads of a row's templates. They fail without such a row or blob, and for a template that
    // lies outside the blob or has a negative index; out is then untouched. Never more is written
    // than out holds, nor more than the blob has.
    bool readTemplate(int id, int index, std::span<std::uint8_t, kTemplateBytes> out);
    bool readBlob(int id, std::span<std::uint8_t> out);
    bool readBlocks(int id, int index, std::span<std::int8_t> block1, std::span<std::int8_t> block2,
                    TemplateTrailer& trailer);
    bool readByKey(const PvaUserKey& key, std::span<std::uint8_t> out);

    // The id that was given last: 0 if none was yet, nothing if the database cannot tell.
    std::optional<std::int64_t> lastRowId();
    bool existsKey(const PvaUserKey& key);
    // The outputs are untouched when there is no such row, which is reported on standard error.
    bool keyOfId(int id, std::int64_t& userid, std::int32_t& palmindex);
    // In the order of the rows; empty on any fault.
    std::vector<std::int32_t> palmIndexesOf(std::int64_t userid);

    // Appends a row, whether or not the key has one already. blob holds centreCount() templates.
    bool insertPalm(const PvaUserKey& key, std::span<const std::uint8_t> blob);
    bool replaceByKey(const PvaUserKey& key, std::span<const std::uint8_t> blob);
    bool replaceById(int id, std::span<const std::uint8_t> blob);     // table and cache
    bool replaceRowOnly(int id, std::span<const std::uint8_t> blob);  // table only
    bool writeTemplate(int id, int index, std::span<const std::uint8_t, kTemplateBytes> data);
    // Removes every row of the key, but frees the slots of the first one only.
    bool removePalm(std::int64_t userid, std::int32_t palmindex);
    // Drops the table and makes it anew. Raises type_error for a path in the configuration that is
    // no text; the connection is closed by then.
    bool wipeAll();
    int palmCount() const;

    // The enrolment's own insert: cache slots first, then the row, then featureCount raised by one
    // palm. Prints nothing on success. blob holds centreCount() templates.
    enum class EnrolOutcome { committed, bindingBlobFailed, failed };
    EnrolOutcome enrolPalm(const PvaUserKey& key, std::span<const std::uint8_t> blob);

    // Of this store, for as long as it lives.
    const FeatureCacheFile* cache() const { return &cache_; }
    int centreCount() const { return centreCount_; }    // templates per palm, read at construction
    int featureCount() const { return featureCount_; }  // occupied cache slots

private:
    // Occupied slots of a cache that mirrors that many rows.
    std::int64_t slotsOf(std::int64_t rows) const { return std::int64_t{centreCount_} * rows; }
    std::size_t featureLength();
    void mirror(std::int64_t rowsBefore, std::span<const std::uint8_t> blob, std::size_t length);
    void place(std::int64_t rowsBefore, std::span<const std::uint8_t> blob, std::size_t length);
    void freeSlots(int id);

    bool createTable();
    int reportRowCount();
    std::size_t migratedSize() const;
    // mirrored: the cache is not in doubt, or mirrors the rows and nothing else.
    MigrationOutcome migrateRows(int rows, bool& mirrored);
    bool isMirrored(std::int64_t rowsBefore, std::span<const std::uint8_t> blob) const;
    bool agreesWith(int rows) const;
    bool rebuildCache();
    bool placeAll(SqliteStatement& rows);

    std::optional<int> idOfKey(const PvaUserKey& key);
    // Runs a change of the table to its end. After a power cut it is still there.
    bool runChange(SqliteStatement& change) const;
    bool stepInsert(SqliteStatement& insert, const PvaUserKey& key,
                    std::span<const std::uint8_t> blob);
    bool subtractPalm();
    bool namesDatabaseAsCache() const;
    bool namesDatabase(const std::string& path) const;
    std::string fromStart(const std::string& path) const;
    int openDatabase();
    bool reopenDatabase();
    void removeConfiguredIndexFile();

    ConfigDocument config_;
    std::string folder_;  // the working directory at the construction
    int centreCount_;
    FeatureCacheFile cache_;
    int featureCount_;
    SqliteConnection connection_;
};

}  // namespace brairu
