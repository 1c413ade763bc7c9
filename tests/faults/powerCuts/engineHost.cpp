#include "engineHost.h"

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "brairu.h"
#include "store/palmTemplate.h"

namespace brairu::test {
namespace {

[[noreturn]] void complain(const std::string& text) {
    throw std::runtime_error(text);
}

void require(bool holds, const std::string& text) {
    if (!holds) {
        complain(text);
    }
}

std::string describe(const PalmName& name) {
    return "palm " + std::to_string(name.first) + "/" + std::to_string(name.second);
}

PvaUserKey keyOf(const PalmName& name) {
    return {name.first, name.second, {}};
}

// ---- Steps

int enrol(const PvaUserKey& key, std::uint32_t seed) {
    const Bytes capture = captureOf(seed);
    PvaRegisterResult result{};
    do {
        pvaRegister(&key, capture.data(), 0, &result);
    } while (result.status == PVA_REGISTER_MORE);
    return result.status == PVA_REGISTER_COMMITTED;
}

int learn(const Step& step, const Ledger& ledger) {
    const Bytes& row = ledger.palms().at({step.userid, step.palmindex});
    const Bytes capture = weakCaptureOf(row, step.number, step.seed);
    PvaAuthResult result{};
    return pvaGetAuthRes(capture.data(), &result) == 1 && result.userid == step.userid &&
           result.palmindex == step.palmindex;
}

int storeRow(int (*call)(const PvaUserKey*, const std::uint8_t*, int), const PvaUserKey& key,
             const Bytes& row) {
    return call(&key, row.data(), static_cast<int>(row.size()));
}

int resultOf(const Step& step, const Ledger& ledger) {
    const PvaUserKey key = keyOf({step.userid, step.palmindex});
    switch (step.act) {
        case Act::enrol: return enrol(key, step.seed);
        case Act::add: return pvaDataBaseAddUser(&key, templateOf(step.seed).data());
        case Act::addRow:
            return storeRow(pvaDataBaseAddUserWithFeatSize, key,
                            rowOf(step.seed, ledger.centres()));
        case Act::learn: return learn(step, ledger);
        case Act::update: return pvaDataBaseUpdateUser(&key, templateOf(step.seed).data());
        case Act::updateRow:
            return storeRow(pvaDataBaseUpdateUserWithFeatSize, key,
                            rowOf(step.seed, ledger.centres()));
        case Act::remove: return pvaDataBaseDeleteUser(&key);
        case Act::wipe: return pvaDataBaseDeleteAllPalm();
        case Act::setCentres:
            return static_cast<int>(
                pvaConfigSetRegisCenterCount(static_cast<std::uint32_t>(step.number)));
        case Act::setBlur:
            return static_cast<int>(
                pvaConfigSetBlurThresholdMax(static_cast<std::uint32_t>(step.number)));
    }
    return 0;
}

// ---- The files after a restart

struct CloseConnection {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
};
using Connection = std::unique_ptr<sqlite3, CloseConnection>;
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

Connection connect(const std::string& path) {
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READONLY, nullptr);
    Connection connection(handle);
    require(result == SQLITE_OK, "the database does not open");
    return connection;
}

Statement prepare(const Connection& connection, const char* sql) {
    sqlite3_stmt* handle = nullptr;
    sqlite3_prepare_v2(connection.get(), sql, -1, &handle, nullptr);
    require(handle != nullptr, std::string("no answer to ") + sql);
    return Statement(handle);
}

struct FoundPalm {
    std::int64_t id;
    PalmName name;
    Bytes row;
};

Bytes blobAt(const Statement& statement, int column) {
    const auto* data =
        static_cast<const std::uint8_t*>(sqlite3_column_blob(statement.get(), column));
    return {data, data + sqlite3_column_bytes(statement.get(), column)};
}

std::vector<FoundPalm> readTable(const Connection& connection) {
    const Statement rows =
        prepare(connection, "SELECT id, userid, palmindex, vector_data FROM userInfo");
    std::vector<FoundPalm> palms;
    int result = sqlite3_step(rows.get());
    for (; result == SQLITE_ROW; result = sqlite3_step(rows.get())) {
        palms.push_back({sqlite3_column_int64(rows.get(), 0),
                         {sqlite3_column_int64(rows.get(), 1), sqlite3_column_int(rows.get(), 2)},
                         blobAt(rows, 3)});
    }
    require(result == SQLITE_DONE, "the table cannot be read");
    return palms;
}

void requireIntegrity(const Connection& connection) {
    const Statement check = prepare(connection, "PRAGMA integrity_check");
    require(sqlite3_step(check.get()) == SQLITE_ROW, "no integrity check");
    const std::string verdict = reinterpret_cast<const char*>(sqlite3_column_text(check.get(), 0));
    require(verdict == "ok", "integrity check: " + verdict);
}

// Slot by slot: exactly the rows' templates are in the cache file.
void requireMirror(const std::string& path, const std::vector<FoundPalm>& palms, int centres) {
    const std::size_t capacity = static_cast<std::size_t>(kMirroredPalms * centres);
    require(std::filesystem::file_size(path) == capacity * (1 + kBlockBytes), "size of the cache");
    std::ifstream file(path, std::ios::binary);
    std::string flags(capacity, '\0');
    file.read(flags.data(), static_cast<std::streamsize>(flags.size()));
    std::string record(kBlockBytes, '\0');
    for (const FoundPalm& palm : palms) {
        for (int index = 0; index < centres; ++index) {
            const auto slot = static_cast<std::size_t>((palm.id - 1) * centres + index);
            require(flags.at(slot) == 1, describe(palm.name) + " has a free slot");
            flags[slot] = 0;
            file.seekg(static_cast<std::streamoff>(capacity + slot * kBlockBytes));
            file.read(record.data(), static_cast<std::streamsize>(record.size()));
            const auto stored =
                palm.row.begin() + static_cast<std::ptrdiff_t>(kTemplateBytes) * index;
            require(std::equal(
                        record.begin(), record.end(), stored,
                        [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; }),
                    describe(palm.name) + " differs from its slot");
        }
    }
    require(std::ranges::count(flags, '\1') == 0, "a slot of no palm is occupied");
}

nlohmann::json readConfig(const std::string& path) {
    std::ifstream file(path);
    return nlohmann::json::parse(file);
}

// ---- What the calls say

void requireRecognised(const FoundPalm& palm, int centres) {
    for (int index = 0; index < centres; ++index) {
        PvaAuthResult result{};
        const std::uint8_t* probe =
            palm.row.data() + static_cast<std::size_t>(index) * kTemplateBytes;
        require(pvaGetAuthRes(probe, &result) == 1, describe(palm.name) + " is not recognised");
        require(
            PalmName(result.userid, result.palmindex) == palm.name,
            describe(palm.name) + " is taken for " + describe({result.userid, result.palmindex}));
    }
}

void requireUnknown(const Bytes& probe, const std::string& what) {
    PvaAuthResult result{};
    require(pvaGetAuthRes(probe.data(), &result) == 0, what + " is recognised");
}

void requireReadBack(const FoundPalm& palm) {
    const PvaUserKey key = keyOf(palm.name);
    Bytes row(palm.row.size());
    require(pvaDataBaseExistUser(&key) == 1 &&
                pvaDataBaseGetFeatWithFeatSize(&key, row.data(), static_cast<int>(row.size())) == 1,
            describe(palm.name) + " cannot be read");
    require(row == palm.row, describe(palm.name) + " reads back differently");
}

void requireStrangersUnknown(const Ledger& ledger, std::span<const Ledger> possible) {
    for (const Bytes& gone : ledger.gone()) {
        requireUnknown(gone, "a template that is gone");
    }
    for (const Ledger& other : possible) {
        for (const auto& [name, row] : other.palms()) {
            if (!ledger.palms().contains(name)) {
                requireUnknown(row, describe(name) + ", not in the table,");
            }
        }
    }
}

Palms palmsIn(const std::vector<FoundPalm>& found) {
    Palms palms;
    for (const FoundPalm& palm : found) {
        require(palms.emplace(palm.name, palm.row).second, describe(palm.name) + " twice");
    }
    return palms;
}

std::string differenceOf(const Palms& found, const Palms& expected) {
    for (const auto& [name, row] : expected) {
        const auto same = found.find(name);
        if (same == found.end()) {
            return describe(name) + " is lost";
        }
        if (same->second != row) {
            return describe(name) + " has other templates";
        }
    }
    return std::to_string(found.size() - expected.size()) + " palms too many";
}

int fittingLedger(const Palms& found, const nlohmann::json& config, const HostFolder& folder,
                  std::span<const Ledger> possible) {
    std::string difference = "the configuration fits neither side";
    for (std::size_t i = 0; i < possible.size(); ++i) {
        Ledger ledger = possible[i];
        ledger.restart();
        const bool sameConfig = config == folder.configured(ledger);
        if (sameConfig && ledger.palms() == found) {
            return static_cast<int>(i);
        }
        if (sameConfig) {
            difference = differenceOf(found, ledger.palms());
        }
    }
    complain(difference);
}

}  // namespace

HostFolder::HostFolder() {
    engine_.document["database"]["database_path"] = file("palms.db");
    engine_.document["database"]["regis_max_count"] = 2;
    engine_.document["handpose"]["dynamic_detection_level"] = 0;
    engine_.document["handpose"]["blur_threshold_max"] = 0;
}

void HostFolder::renew(int centres, bool olderFormat) {
    std::filesystem::remove_all(path());
    std::filesystem::create_directory(path());
    renewed_ = engine_.document;
    renewed_["database"]["regis_center_count"] = centres;
    renewed_["database"]["search_index_path"] = file(olderFormat ? "palms.usearch" : "palms.bin");
    std::ofstream(configPath()) << renewed_.dump(4);
}

nlohmann::json HostFolder::configured(const Ledger& ledger) const {
    nlohmann::json document = renewed_;
    document["database"]["regis_center_count"] = ledger.configuredCentres();
    document["handpose"]["blur_threshold_max"] = ledger.blur();
    return document;
}

void perform(const Step& step, const Ledger& ledger) {
    require(resultOf(step, ledger) == 1, std::string(nameOf(step.act)) + " failed");
}

int inspectRestart(const HostFolder& folder, std::span<const Ledger> possible) {
    const nlohmann::json config = readConfig(folder.configPath());
    init_pva(folder.configPath().c_str());
    const Connection connection = connect(folder.file("palms.db"));
    requireIntegrity(connection);
    const std::vector<FoundPalm> found = readTable(connection);
    const int fitting = fittingLedger(palmsIn(found), config, folder, possible);
    const int centres = possible[static_cast<std::size_t>(fitting)].configuredCentres();
    requireMirror(folder.file("palms.bin"), found, centres);
    require(pvaDataBaseGetAllPalmCount() == static_cast<int>(found.size()), "count of palms");
    for (const FoundPalm& palm : found) {
        requireReadBack(palm);
        requireRecognised(palm, centres);
    }
    requireStrangersUnknown(possible[static_cast<std::size_t>(fitting)], possible);
    return fitting;
}

}  // namespace brairu::test
