#include "store/storedPalms.h"

#include <cstring>
#include <random>
#include <utility>

#include "store/bareSqlite.h"
#include "store/palmTemplate.h"
#include "store/startedStore.h"

namespace brairu::bench {
namespace {

constexpr std::uint64_t kSeed = 20230817;

Bytes randomBytes(std::size_t size, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    Bytes bytes(size);
    for (std::size_t i = 0; i + sizeof(std::uint64_t) <= size; i += sizeof(std::uint64_t)) {
        const std::uint64_t value = random();
        std::memcpy(bytes.data() + i, &value, sizeof value);
    }
    return bytes;
}

}  // namespace

// The table is the store's own; a start over the full one makes the cache, a second one finds it
// right.
StoredPalms::StoredPalms(std::filesystem::path folder, int palms, int centres)
    : folder_(std::move(folder)), palms_(palms), centres_(centres) {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    startAndEnd();
    insertRows();
    startAndEnd();
    startAndEnd();
}

StoredPalms::~StoredPalms() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

ConfigDocument StoredPalms::config() const {
    return {{"feature", {{"feature_len", 512}, {"auth_threshold", 0.5}, {"filter_threshold", 0.5}}},
            {"database",
             {{"database_path", database()},
              {"search_index_path", cache()},
              {"regis_center_count", centres_}}}};
}

Bytes StoredPalms::row(int id) const {
    return randomBytes(static_cast<std::size_t>(centres_) * kTemplateBytes,
                       kSeed + static_cast<std::uint64_t>(id));
}

void StoredPalms::startAndEnd() const {
    const StartedStore started(*this);
}

void StoredPalms::insertRows() const {
    BareSqlite sqlite(database());
    sqlite.run("BEGIN;");
    for (int id = 1; id <= palms_; ++id) {
        sqlite.insert(id, row(id));
    }
    sqlite.run("COMMIT;");
}

}  // namespace brairu::bench
