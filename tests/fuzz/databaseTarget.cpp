// A template database of any bytes: start, reads, search, additions, removal, a second start.
//
// Input: a byte that chooses the number of centres, then the database file.
#include <sqlite3.h>

#include <array>

#include "byteSource.h"
#include "claim.h"
#include "match/search.h"
#include "store/templateStore.h"
#include "storeFiles.h"
#include "support/scriptedLog.h"

namespace {

using namespace brairu;
using fuzz::ByteSource;
using fuzz::claim;

constexpr int kSomeIds = 8;
constexpr PvaUserKey kKey{1, 1, {}};

void readRow(TemplateStore& store, int id, std::vector<std::uint8_t>& row) {
    std::array<std::uint8_t, kTemplateBytes> one{};
    std::vector<std::int8_t> block1(kBlockBytes);
    std::vector<std::int8_t> block2(kBlockBytes);
    TemplateTrailer trailer;
    std::int64_t userid = 0;
    std::int32_t palmindex = 0;
    for (int index = -1; index <= store.centreCount(); ++index) {
        const bool read = store.readTemplate(id, index, one);
        claim(read == store.readBlocks(id, index, block1, block2, trailer),
              "a template is read whole or not at all");
    }
    store.readBlob(id, row);
    store.getLearnCount(id);
    store.keyOfId(id, userid, palmindex);
}

void readEverything(TemplateStore& store) {
    std::vector<std::uint8_t> row(static_cast<std::size_t>(store.centreCount()) * kTemplateBytes);
    for (int id = -1; id < kSomeIds; ++id) {
        readRow(store, id, row);
    }
    for (std::int64_t userid = 0; userid < 3; ++userid) {
        store.palmIndexesOf(userid);
    }
    store.readByKey(kKey, row);
    store.existsKey(kKey);
    store.lastRowId();
}

void search(TemplateStore& store) {
    const std::vector<std::int8_t> bytes(kBlockBytes, 1);
    const FeatureBlock block = blockOf(bytes);
    PvaAuthResult result{};
    int index = 0;
    const bool found = matchProbe(store, {block, block, block}, result, index);
    claim(!found || (index >= 0 && index < store.centreCount()), "a match names its template");
}

// The first value that a query gives, as text.
std::string answerOf(const std::string& path, const char* sql) {
    sqlite3* database = nullptr;
    sqlite3_stmt* query = nullptr;
    sqlite3_open(path.c_str(), &database);
    sqlite3_prepare_v2(database, sql, -1, &query, nullptr);
    std::string answer;
    if (sqlite3_step(query) == SQLITE_ROW) {
        const unsigned char* text = sqlite3_column_text(query, 0);
        answer = text == nullptr ? "" : reinterpret_cast<const char*>(text);
    }
    sqlite3_finalize(query);
    sqlite3_close(database);
    return answer;
}

// Undamaged, and without triggers, views and constraints that pass over a row in silence: SQLite
// then keeps what it has accepted.
bool isSound(const std::string& path) {
    return answerOf(path, "PRAGMA integrity_check;") == "ok" &&
           answerOf(path,
                    "SELECT COUNT(*) FROM sqlite_master WHERE type IN ('trigger', 'view') "
                    "OR sql LIKE '%conflict%';") == "0";
}

void change(TemplateStore& store, bool sound) {
    const std::vector<std::uint8_t> row(
        static_cast<std::size_t>(store.centreCount()) * kTemplateBytes, 1);
    const std::array<std::uint8_t, kTemplateBytes> one{};
    const bool inserted = store.insertPalm(kKey, row);
    claim(!inserted || !sound || store.existsKey(kKey), "what was added is there");
    search(store);
    store.replaceByKey(kKey, row);
    store.writeTemplate(1, 0, one);
    store.setLearnCount(1, 49);
    store.enrolPalm(kKey, row);
    if (store.removePalm(kKey.userid, kKey.palmindex)) {
        claim(!store.existsKey(kKey), "what was removed is gone");
    }
}

void startAndUse(const ConfigDocument& settings, const std::string& path, bool wipes) {
    fuzz::ShortLivedStore shortLived(settings);
    TemplateStore& store = *shortLived;
    store.runStartupPass();
    readEverything(store);
    search(store);
    change(store, isSound(path));
    if (wipes && store.wipeAll()) {
        claim(store.palmCount() == 0 && !store.existsKey(kKey), "a wipe leaves nothing");
    }
    store.runStartupPass();
    readEverything(store);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::StoreFiles files;
    ByteSource source(data, size);
    const int choice = source.number<std::uint8_t>();
    files.writeDatabase(fuzz::textOf(source.takeRest()));
    startAndUse(files.settings(1 + choice % 3), files.databasePath(), choice >= 128);
    files.remove();
    test::ScriptedLog::clear();
    return 0;
}
