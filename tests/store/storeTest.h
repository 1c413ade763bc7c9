// What the tests of the template store share: a store in a folder of its own, a look into its files
// from outside, and templates to put in.
#pragma once

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "config/configStore.h"
#include "interposedCalls.h"
#include "store/templateStore.h"
#include "support/captureOutput.h"
#include "support/scriptedLog.h"
#include "support/temporaryFolder.h"

namespace brairu::test {

using Bytes = std::vector<std::uint8_t>;

// One template whose every byte depends on seed and place.
Bytes templateOf(int seed);

// Templates of these seeds, back to back.
Bytes rowOf(std::initializer_list<int> seeds);

// bytes followed by as many fillers as make the size.
Bytes padded(Bytes bytes, std::size_t size, std::uint8_t filler = 0);

// The searched block of a template.
std::vector<std::int8_t> searchBlockOf(const Bytes& oneTemplate);

// Another program's connection to the database.
class OtherConnection {
public:
    explicit OtherConnection(const std::string& path);
    ~OtherConnection();
    OtherConnection(const OtherConnection&) = delete;
    OtherConnection& operator=(const OtherConnection&) = delete;

    // Fails the test if SQLite refuses.
    void run(const std::string& sql);
    void insertRow(std::int64_t id, std::int64_t userid, int palmindex, const Bytes& blob);
    std::int64_t number(const std::string& sql);
    Bytes blob(std::int64_t id);

private:
    sqlite3* handle_ = nullptr;
};

// A hook for beforeStep: from that statement on another connection locks the database for good.
std::function<void(sqlite3_stmt*)> lockAt(std::string sql, OtherConnection& other);

class StoreTest : public testing::Test {
protected:
    StoreTest();
    ~StoreTest() override;

    // A new store on the files of the folder, as a new process makes it. The pass is run.
    void start(int centres = 1);
    // The same without the pass.
    void construct(int centres = 1);
    TemplateStore& store() { return *store_; }

    OtherConnection database() const { return OtherConnection(databasePath()); }
    std::string databasePath() const { return folder_.file("palms.db"); }
    std::string cachePath() const { return folder_.file("palms.bin"); }

    // Takes the table away through the store's own connection, which thus knows at once.
    void dropTable();

    // Slots marked 1 in the cache file, and the record of one.
    std::vector<int> occupiedSlots() const;
    std::vector<std::int8_t> recordOf(int slot) const;

    // The store's log since the last call.
    std::vector<std::string> takeLog() const;

    TemporaryFolder folder_;
    ConfigDocument config_;
    std::unique_ptr<TemplateStore> store_;
    sqlite3* storesConnection_ = nullptr;  // of the pass that start() ran
    int centres_ = 1;
};

inline PvaUserKey keyOf(std::int64_t userid, std::int32_t palmindex) {
    return {userid, palmindex, {}};
}

}  // namespace brairu::test
