#include "store/templateStore.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <string_view>

#include "store/shellQuoting.h"
#include "store/storeLog.h"
#include "store/templateBlob.h"
#include "utils/absolutePath.h"
#include "utils/fileIdentity.h"
#include "utils/pipe.h"

namespace brairu {
namespace {

// 0, which leaves the cache unmapped, for counts that make no file.
std::uint32_t cacheCapacity(int centreCount) {
    const std::int64_t slots = kMirroredPalms * centreCount;
    const bool fits = slots > 0 && slots <= std::numeric_limits<std::uint32_t>::max();
    return fits ? static_cast<std::uint32_t>(slots) : 0;
}

// A file made for another number of centres, whose flags lie where there are records now: their
// number may be right by chance.
bool hasOtherLayout(const FeatureCacheFile& cache) {
    const std::uint64_t bytesPerCentre = kMirroredPalms * (1 + std::uint64_t{cache.recordSize()});
    return cache.openedSize() > 0 && cache.openedSize() != cache.fileSize() &&
           cache.openedSize() % bytesPerCentre == 0;
}

std::uint32_t cacheRecordSize(int featureLength) {
    return featureLength > 0 ? static_cast<std::uint32_t>(featureLength) : 0;
}

// The cache is changed before the table. A start compares the two if the table did not follow, for
// whatever reason.
class CacheAhead {
public:
    explicit CacheAhead(FeatureCacheFile& cache) : cache_(cache) {}
    ~CacheAhead() {
        if (!followed_) {
            cache_.doubt();
        }
    }
    CacheAhead(const CacheAhead&) = delete;
    CacheAhead& operator=(const CacheAhead&) = delete;

    // Tells whether the table did. Returns done.
    bool isFollowed(bool done) {
        followed_ = done;
        return done;
    }

private:
    FeatureCacheFile& cache_;
    bool followed_ = false;
};

// The text of a setting, or nothing where there is none: a fault is raised by who needs the value.
std::string textOrNothing(const ConfigDocument& document, const char* section, const char* key) {
    const auto& found = document.find(section);
    if (found == document.end() || !found->is_object()) {
        return {};
    }
    const auto& value = found->find(key);
    return value != found->end() && value->is_string() ? value->get<std::string>() : "";
}

// What SQLite makes something else of than a file of that name is not made absolute.
bool isFileName(const std::string& databasePath) {
    return databasePath != ":memory:" && !databasePath.starts_with("file:");
}

bool nameOneFile(const std::string& one, const std::string& other) {
    return std::filesystem::path(one).lexically_normal() ==
               std::filesystem::path(other).lexically_normal() ||
           isSameFile(one, other);
}

bool reportBindFault(const char* name, const SqliteConnection& connection) {
    std::cerr << "绑定 " << name << " 失败: " << connection.errorText() << std::endl;
    return false;
}

bool bindKey(SqliteStatement& insert, const PvaUserKey& key, const SqliteConnection& connection) {
    if (!insert.bind(1, key.userid)) {
        return reportBindFault("userid", connection);
    }
    return insert.bind(2, key.palmindex) || reportBindFault("palmindex", connection);
}

// Rows beyond the cache are not mirrored.
bool hasSlots(std::int64_t rowsBefore) {
    return rowsBefore >= 0 && rowsBefore < kMirroredPalms;
}

}  // namespace

std::string cacheFileName(std::string searchIndexPath) {
    constexpr std::string_view kOldSuffix = ".usearch";
    if (searchIndexPath.ends_with(kOldSuffix)) {
        searchIndexPath.replace(searchIndexPath.size() - kOldSuffix.size(), kOldSuffix.size(),
                                ".bin");
    }
    return searchIndexPath;
}

TemplateStore::TemplateStore(const ConfigDocument& document)
    : config_(document),
      folder_(workingFolder()),
      centreCount_(readInt(config_, "database", "regis_center_count")),
      cache_{fromStart(cacheFileName(readText(config_, "database", "search_index_path"))),
             cacheCapacity(namesDatabaseAsCache() ? 0 : centreCount_),
             cacheRecordSize(readInt(config_, "feature", "feature_len"))},
      featureCount_(0) {
    // At once: once the file has its new size, no later start could tell.
    if (hasOtherLayout(cache_)) {
        cache_.clear();
    }
    featureCount_ = cache_.count();
}

TemplateStore::~TemplateStore() {
    endForExit();
}

// The process is about to exit and does not wait for the cache to reach the disk.
void TemplateStore::endForExit() {
    connection_.close();
    logStore("关闭数据库连接\r\n");
    cache_.leaveMapped();
}

// The cache file is sized and cleared: in its place a database would be lost.
bool TemplateStore::namesDatabaseAsCache() const {
    const bool same =
        namesDatabase(cacheFileName(textOrNothing(config_, "database", "search_index_path")));
    if (same) {
        logStore("search_index_path names the database: there is no search\r\n");
    }
    return same;
}

bool TemplateStore::namesDatabase(const std::string& path) const {
    const std::string database = textOrNothing(config_, "database", "database_path");
    return isFileName(database) && nameOneFile(fromStart(database), fromStart(path));
}

// The path as it led when the store was made.
std::string TemplateStore::fromStart(const std::string& path) const {
    return pathFrom(folder_, path);
}

int TemplateStore::openDatabase() {
    const std::string path = readText(config_, "database", "database_path");
    return connection_.open(isFileName(path) ? fromStart(path) : path);
}

std::size_t TemplateStore::featureLength() {
    return cacheRecordSize(readInt(config_, "feature", "feature_len"));
}

// Puts the first length bytes of each template into the slots of the row that follows rowsBefore
// others.
void TemplateStore::mirror(std::int64_t rowsBefore, std::span<const std::uint8_t> blob,
                           std::size_t length) {
    if (hasSlots(rowsBefore) && cache_.beginChange()) {
        place(rowsBefore, blob, length);
        cache_.flushLater();
    }
}

void TemplateStore::place(std::int64_t rowsBefore, std::span<const std::uint8_t> blob,
                          std::size_t length) {
    if (!hasSlots(rowsBefore)) {
        return;
    }
    std::size_t offset = 0;
    for (int index = 0; index < centreCount_ && offset < blob.size(); ++index) {
        cache_.place(slotsOf(rowsBefore) + index, signedBytesAt(blob, offset, length));
        offset += kTemplateBytes;
    }
}

bool TemplateStore::isMirrored(std::int64_t rowsBefore, std::span<const std::uint8_t> blob) const {
    std::size_t offset = 0;
    for (int index = 0; index < centreCount_; ++index) {
        const auto record = signedBytesAt(blob, offset, kBlockBytes);
        if (!cache_.holds(slotsOf(rowsBefore) + index, record)) {
            return false;
        }
        offset += kTemplateBytes;
    }
    return true;
}

void TemplateStore::freeSlots(int id) {
    const std::int64_t end = slotsOf(id);
    for (std::int64_t slot = slotsOf(std::int64_t{id} - 1); slot < end; ++slot) {
        cache_.remove(slot);
    }
}

bool TemplateStore::runChange(SqliteStatement& change) const {
    const bool done = change.stepToEnd();
    if (done) {
        connection_.settle();
    }
    return done;
}

bool TemplateStore::insertPalm(const PvaUserKey& key, std::span<const std::uint8_t> blob) {
    const auto lastId = lastRowId();
    if (centreCount_ < 1 || !lastId) {
        return false;
    }
    CacheAhead ahead(cache_);
    mirror(*lastId, blob, featureLength());
    SqliteStatement insert(connection_,
                           "INSERT INTO userInfo (userid, palmindex,vector_data,"
                           "learn_count) VALUES (?, ?, ?, ?);");
    if (!ahead.isFollowed(insert.isPrepared() && stepInsert(insert, key, blob))) {
        return false;
    }
    reportRowCount();
    featureCount_ = cache_.count();
    __android_log_print(ANDROID_LOG_ERROR, kStoreLogTag, "添加用户成功, featureCount = %d\r\n",
                        featureCount_);
    return true;
}

bool TemplateStore::stepInsert(SqliteStatement& insert, const PvaUserKey& key,
                               std::span<const std::uint8_t> blob) {
    if (!bindKey(insert, key, connection_)) {
        return false;
    }
    // One text for all columns but the first: hosts match on it.
    if (!insert.bind(3, blob) || !insert.bind(4, kInitialLearnCount)) {
        return reportBindFault("palmindex", connection_);
    }
    return runChange(insert);
}

TemplateStore::EnrolOutcome TemplateStore::enrolPalm(const PvaUserKey& key,
                                                     std::span<const std::uint8_t> blob) {
    const auto lastId = lastRowId();
    if (centreCount_ < 1 || !lastId) {
        return EnrolOutcome::failed;
    }
    CacheAhead ahead(cache_);
    mirror(*lastId, blob, featureLength());
    SqliteStatement insert(connection_,
                           "INSERT INTO userInfo (userid, palmindex, vector_data, "
                           "learn_count) VALUES (?, ?, ?, ?);");
    if (!insert.isPrepared() || !bindKey(insert, key, connection_)) {
        return EnrolOutcome::failed;
    }
    if (!insert.bind(3, blob)) {
        reportBindFault("palmindex", connection_);
        return EnrolOutcome::bindingBlobFailed;
    }
    insert.bind(4, kInitialLearnCount);
    if (!ahead.isFollowed(runChange(insert))) {
        return EnrolOutcome::failed;
    }
    featureCount_ += centreCount_;
    return EnrolOutcome::committed;
}

bool TemplateStore::replaceByKey(const PvaUserKey& key, std::span<const std::uint8_t> blob) {
    const auto id = idOfKey(key);
    if (centreCount_ < 1 || !id) {
        return false;
    }
    CacheAhead ahead(cache_);
    mirror(std::int64_t{*id} - 1, blob, featureLength());
    SqliteStatement update(
        connection_, "UPDATE userInfo SET vector_data = ? WHERE userid = ? AND palmindex = ?;");
    return ahead.isFollowed(update.bindAll(blob, key.userid, key.palmindex) && runChange(update));
}

bool TemplateStore::replaceById(int id, std::span<const std::uint8_t> blob) {
    CacheAhead ahead(cache_);
    mirror(std::int64_t{id} - 1, blob, featureLength());
    return ahead.isFollowed(replaceRowOnly(id, blob));
}

bool TemplateStore::replaceRowOnly(int id, std::span<const std::uint8_t> blob) {
    SqliteStatement update(connection_, "UPDATE userInfo SET vector_data = ? WHERE id = ?;");
    return update.bindAll(blob, std::int64_t{id}) && runChange(update);
}

// An index beyond the row would reach into the slots of the next palm.
bool TemplateStore::writeTemplate(int id, int index,
                                  std::span<const std::uint8_t, kTemplateBytes> data) {
    if (index < 0 || index >= centreCount_) {
        return false;
    }
    CacheAhead ahead(cache_);
    cache_.put(slotsOf(std::int64_t{id} - 1) + index, signedBytesAt(data, 0, featureLength()));
    SqliteBlob blob(connection_, "userInfo", "vector_data", id);
    if (!blob.isOpen()) {
        logStore("打开数据库更新失败\r\n");
        return false;
    }
    if (ahead.isFollowed(blob.write(data, std::int64_t{kTemplateBytes} * index) && blob.close())) {
        connection_.settle();
        return true;
    }
    __android_log_print(ANDROID_LOG_ERROR, kStoreLogTag, "写入 BLOB 数据失败: %s\r\n",
                        connection_.errorText().c_str());
    return false;
}

bool TemplateStore::removePalm(std::int64_t userid, std::int32_t palmindex) {
    if (featureCount_ == 0) {
        return false;
    }
    const auto id = idOfKey({userid, palmindex, {}});
    if (!id) {
        return false;
    }
    CacheAhead ahead(cache_);
    freeSlots(*id);
    SqliteStatement removal(connection_,
                            "DELETE FROM userInfo WHERE userid = ? AND palmindex = ?;");
    return ahead.isFollowed(removal.bindAll(userid, palmindex) && runChange(removal)) &&
           subtractPalm();
}

// The count stays as subtracted even if the cache disagrees: the next start tells.
bool TemplateStore::subtractPalm() {
    if (featureCount_ < centreCount_) {
        return false;
    }
    featureCount_ -= centreCount_;
    if (cache_.count() == featureCount_) {
        logStore("删除成功\r\n");
    }
    return true;
}

bool TemplateStore::wipeAll() {
    if (connection_.execute("DROP TABLE userInfo;") != SQLITE_OK) {
        __android_log_print(ANDROID_LOG_ERROR, kStoreLogTag, "drop table 失败: %s\n",
                            connection_.errorText().c_str());
        return false;
    }
    connection_.settle();
    if (!reopenDatabase()) {
        return false;
    }
    removeConfiguredIndexFile();
    cache_.clear();
    featureCount_ = 0;
    if (!createTable()) {
        logStore("创建表失败: \r\n");
    }
    return true;
}

bool TemplateStore::reopenDatabase() {
    connection_.close();
    if (openDatabase() == SQLITE_OK) {
        return true;
    }
    connection_.close();
    logStore("无法打开数据库: \r\n");
    return false;
}

// The name as configured: a file of the older format goes, while a cache file of another name stays
// in use.
void TemplateStore::removeConfiguredIndexFile() {
    const std::string configured = readText(config_, "database", "search_index_path");
    const std::string path = workingFolder() == folder_ ? configured : fromStart(configured);
    if (!namesDatabase(path) && !isPipe(path) && std::ifstream(path).is_open()) {
        // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): quoted; hosts rely on the command
        [[maybe_unused]] const int status = std::system(("rm -f " + quotedForShell(path)).c_str());
    }
}

int TemplateStore::palmCount() const {
    return centreCount_ > 0 ? featureCount_ / centreCount_ : 0;
}

}  // namespace brairu
