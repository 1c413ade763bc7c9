// The template store's reads of the table.
#include <algorithm>
#include <cstring>
#include <iostream>

#include "store/storeLog.h"
#include "store/templateBlob.h"
#include "store/templateStore.h"

namespace brairu {
namespace {

constexpr const char* kSelectBlob = "SELECT vector_data FROM userInfo WHERE id = ?;";

// Copies the smaller of the two sizes. False when there is nothing to copy from.
bool copyBlob(std::span<const std::uint8_t> blob, std::span<std::uint8_t> out) {
    std::copy_n(blob.begin(), std::min(blob.size(), out.size()), out.begin());
    return !blob.empty();
}

// Template index of the blob; empty when it lies outside.
std::span<const std::uint8_t> templateAt(std::span<const std::uint8_t> blob, int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= blob.size() / kTemplateBytes) {
        return {};
    }
    return blob.subspan(static_cast<std::size_t>(index) * kTemplateBytes, kTemplateBytes);
}

void copyBlock(std::span<const std::int8_t> block, std::span<std::int8_t> out) {
    std::copy_n(block.begin(), std::min(block.size(), out.size()), out.begin());
}

TemplateTrailer trailerAt(const std::uint8_t* bytes) {
    TemplateTrailer trailer;
    std::memcpy(&trailer.word0, bytes, sizeof trailer.word0);
    std::memcpy(&trailer.word1, bytes + 4, sizeof trailer.word1);
    std::memcpy(&trailer.word2, bytes + 8, sizeof trailer.word2);
    return trailer;
}

constexpr std::size_t kTrailerBytes = kTemplateBytes - kFeatureBytes;

}  // namespace

int TemplateStore::getLearnCount(int id) {
    SqliteStatement query(connection_, "SELECT learn_count FROM userInfo WHERE id = ?;");
    if (!query.isPrepared()) {
        return -1;
    }
    if (!query.bind(1, id)) {
        logStore("sqlite3_bind_int(stmt, 1, uuid); false\r\n");
        return -1;
    }
    if (!query.stepToRow()) {
        logStore("sqlite3_step(stmt) false\r\n");
        return -1;
    }
    return query.int32At(0);
}

bool TemplateStore::setLearnCount(int id, int value) {
    SqliteStatement update(connection_, "UPDATE userInfo SET learn_count = ? WHERE id = ?;");
    return update.bindAll(value, id) && runChange(update);
}

bool TemplateStore::readTemplate(int id, int index, std::span<std::uint8_t, kTemplateBytes> out) {
    SqliteStatement query(connection_, kSelectBlob);
    return query.bindAll(id) && query.stepToRow() &&
           copyBlob(templateAt(query.blobAt(0), index), out);
}

bool TemplateStore::readBlob(int id, std::span<std::uint8_t> out) {
    SqliteStatement query(connection_, kSelectBlob);
    return query.bindAll(id) && query.stepToRow() && copyBlob(query.blobAt(0), out);
}

bool TemplateStore::readBlocks(int id, int index, std::span<std::int8_t> block1,
                               std::span<std::int8_t> block2, TemplateTrailer& trailer) {
    const std::size_t length = featureLength();
    SqliteStatement query(connection_, kSelectBlob);
    if (!query.bindAll(id) || !query.stepToRow()) {
        return false;
    }
    const auto record = templateAt(query.blobAt(0), index);
    if (record.size() < kBlocks * length + kTrailerBytes) {
        return false;
    }
    copyBlock(signedBytesAt(record, length, length), block1);
    copyBlock(signedBytesAt(record, 2 * length, length), block2);
    trailer = trailerAt(record.data() + kBlocks * length);
    return true;
}

bool TemplateStore::readByKey(const PvaUserKey& key, std::span<std::uint8_t> out) {
    SqliteStatement query(connection_,
                          "SELECT vector_data FROM userInfo WHERE userid = ? AND palmindex = ?;");
    if (!query.bindAll(key.userid, key.palmindex) || !query.stepToRow()) {
        return false;
    }
    const auto blob = query.blobAt(0);
    __android_log_print(ANDROID_LOG_ERROR, kStoreLogTag, "dataSize: %d\n",
                        static_cast<int>(blob.size()));
    return copyBlob(blob, out);
}

std::optional<std::int64_t> TemplateStore::lastRowId() {
    SqliteStatement query(connection_, "SELECT seq FROM sqlite_sequence WHERE name = ?;");
    if (!query.bindAll("userInfo")) {
        return std::nullopt;
    }
    switch (query.step()) {
        case SQLITE_ROW: return query.int64At(0);
        case SQLITE_DONE: return 0;
        default: return std::nullopt;
    }
}

bool TemplateStore::existsKey(const PvaUserKey& key) {
    SqliteStatement query(connection_,
                          "SELECT 1 FROM userInfo WHERE userid = ? AND palmindex = ? LIMIT 1;");
    return query.bindAll(key.userid, key.palmindex) && query.stepToRow();
}

std::optional<int> TemplateStore::idOfKey(const PvaUserKey& key) {
    SqliteStatement query(connection_,
                          "SELECT id FROM userInfo WHERE userid = ? AND palmindex = ?;");
    if (!query.bindAll(key.userid, key.palmindex) || !query.stepToRow()) {
        return std::nullopt;
    }
    return query.int32At(0);
}

bool TemplateStore::keyOfId(int id, std::int64_t& userid, std::int32_t& palmindex) {
    const std::string sql =
        "SELECT userid, palmindex FROM userInfo WHERE id = " + std::to_string(id) + ";";
    SqliteStatement query(connection_, sql.c_str());
    if (!query.isPrepared()) {
        std::cerr << "Failed to execute query: " << connection_.errorText() << std::endl;
        return false;
    }
    if (!query.stepToRow()) {
        std::cerr << "No data found for the given UUID." << std::endl;
        return false;
    }
    userid = query.int64At(0);
    palmindex = query.int32At(1);
    return true;
}

std::vector<std::int32_t> TemplateStore::palmIndexesOf(std::int64_t userid) {
    SqliteStatement query(connection_, "SELECT palmindex FROM userInfo WHERE userid = ?;");
    if (!query.bindAll(userid)) {
        return {};
    }
    std::vector<std::int32_t> palmIndexes;
    int result = query.step();
    for (; result == SQLITE_ROW; result = query.step()) {
        palmIndexes.push_back(query.int32At(0));
    }
    if (result != SQLITE_DONE) {
        palmIndexes.clear();
    }
    return palmIndexes;
}

}  // namespace brairu
