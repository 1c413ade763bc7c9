#include "storeTest.h"

namespace brairu::test {

Bytes templateOf(int seed) {
    Bytes bytes(kTemplateBytes);
    for (std::size_t place = 0; place < bytes.size(); ++place) {
        bytes[place] = static_cast<std::uint8_t>(static_cast<std::size_t>(seed) * 37 + place * 11 +
                                                 place / 251);
    }
    return bytes;
}

Bytes rowOf(std::initializer_list<int> seeds) {
    Bytes row;
    for (const int seed : seeds) {
        const Bytes one = templateOf(seed);
        row.insert(row.end(), one.begin(), one.end());
    }
    return row;
}

Bytes padded(Bytes bytes, std::size_t size, std::uint8_t filler) {
    bytes.resize(size, filler);
    return bytes;
}

std::vector<std::int8_t> searchBlockOf(const Bytes& oneTemplate) {
    return {oneTemplate.begin(), oneTemplate.begin() + kBlockBytes};
}

OtherConnection::OtherConnection(const std::string& path) {
    EXPECT_EQ(sqlite3_open(path.c_str(), &handle_), SQLITE_OK);
}

OtherConnection::~OtherConnection() {
    sqlite3_close(handle_);
}

void OtherConnection::run(const std::string& sql) {
    ASSERT_EQ(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle_);
}

void OtherConnection::insertRow(std::int64_t id, std::int64_t userid, int palmindex,
                                const Bytes& blob) {
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(handle_, "INSERT INTO userInfo VALUES (?, ?, ?, ?, 50);", -1, &insert,
                       nullptr);
    sqlite3_bind_int64(insert, 1, id);
    sqlite3_bind_int64(insert, 2, userid);
    sqlite3_bind_int(insert, 3, palmindex);
    if (!blob.empty()) {
        sqlite3_bind_blob64(insert, 4, blob.data(), blob.size(), SQLITE_STATIC);
    }
    EXPECT_EQ(sqlite3_step(insert), SQLITE_DONE) << sqlite3_errmsg(handle_);
    sqlite3_finalize(insert);
}

std::int64_t OtherConnection::number(const std::string& sql) {
    sqlite3_stmt* query = nullptr;
    sqlite3_prepare_v2(handle_, sql.c_str(), -1, &query, nullptr);
    EXPECT_EQ(sqlite3_step(query), SQLITE_ROW) << sqlite3_errmsg(handle_);
    const std::int64_t value = sqlite3_column_int64(query, 0);
    sqlite3_finalize(query);
    return value;
}

Bytes OtherConnection::blob(std::int64_t id) {
    sqlite3_stmt* query = nullptr;
    sqlite3_prepare_v2(handle_, "SELECT vector_data FROM userInfo WHERE id = ?", -1, &query,
                       nullptr);
    sqlite3_bind_int64(query, 1, id);
    EXPECT_EQ(sqlite3_step(query), SQLITE_ROW) << sqlite3_errmsg(handle_);
    const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(query, 0));
    const Bytes bytes(data, data + sqlite3_column_bytes(query, 0));
    sqlite3_finalize(query);
    return bytes;
}

std::function<void(sqlite3_stmt*)> lockAt(std::string sql, OtherConnection& other) {
    return [sql = std::move(sql), &other, locked = false](sqlite3_stmt* statement) mutable {
        if (!locked && isRunOf(sql, statement)) {
            locked = true;
            other.run("BEGIN EXCLUSIVE;");
        }
    };
}

StoreTest::StoreTest() {
    config_ = ConfigDocument::parse(R"({
        "feature": {"feature_len": 512},
        "database": {"regis_center_count": 1}
    })");
    config_["database"]["database_path"] = databasePath();
    config_["database"]["search_index_path"] = cachePath();
    ScriptedLog::clear();
    InterposedCalls::reset();
}

StoreTest::~StoreTest() {
    store_.reset();
    EXPECT_TRUE(InterposedCalls::get().liveStatements.empty());
    EXPECT_EQ(InterposedCalls::get().liveBlobs, 0);
    EXPECT_EQ(InterposedCalls::get().liveConnections, 0);
    InterposedCalls::reset();
}

void StoreTest::construct(int centres) {
    store_.reset();
    centres_ = centres;
    config_["database"]["regis_center_count"] = centres;
    ScriptedLog::clear();
    store_ = std::make_unique<TemplateStore>(config_);
}

void StoreTest::start(int centres) {
    construct(centres);
    store_->runStartupPass();
    storesConnection_ = InterposedCalls::get().lastOpened;
}

void StoreTest::dropTable() {
    ASSERT_EQ(sqlite3_exec(storesConnection_, "DROP TABLE userInfo;", nullptr, nullptr, nullptr),
              SQLITE_OK);
}

std::vector<int> StoreTest::occupiedSlots() const {
    const std::string file = readFile(cachePath());
    std::vector<int> slots;
    for (int slot = 0; slot < kMirroredPalms * centres_; ++slot) {
        if (file[static_cast<std::size_t>(slot)] == 1) {
            slots.push_back(slot);
        }
    }
    return slots;
}

std::vector<std::int8_t> StoreTest::recordOf(int slot) const {
    const std::string file = readFile(cachePath());
    const auto start = file.begin() + kMirroredPalms * centres_ + slot * 512;
    return {start, start + 512};
}

std::vector<std::string> StoreTest::takeLog() const {
    std::vector<std::string> texts;
    for (const LogLine& line : ScriptedLog::lines()) {
        EXPECT_EQ(line.priority, 6);
        if (line.tag == "database") {
            texts.push_back(line.text);
        }
    }
    ScriptedLog::clear();
    return texts;
}

}  // namespace brairu::test
