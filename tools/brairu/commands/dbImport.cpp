// db import: palms out of an export, all or none.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <span>
#include <utility>

#include "commands/dbCommands.h"
#include "commands/storeChangeReport.h"
#include "engine/engineSetup.h"
#include "namedFile.h"
#include "report/numbers.h"
#include "store/palmExport.h"

namespace brairu::tool {
namespace {

struct ImportOptions {
    std::string path;
    bool replace = false;
};

std::string nameOf(const PalmRecord& palm) {
    return "user " + std::to_string(palm.userid) + ", palm " + std::to_string(palm.palmindex);
}

using Key = std::pair<std::int64_t, std::int32_t>;

Key keyOf(const PalmRecord& palm) {
    return {palm.userid, palm.palmindex};
}

class Import {
public:
    Import(const ImportOptions& options, ExclusiveStore& store)
        : options_(options), store_(store) {}

    StoreChange run(const PalmExport& content) {
        readKeys();
        for (const PalmRecord& palm : content.palms) {
            rowsOfKeys_.contains(keyOf(palm)) ? replace(palm) : insert(palm);
        }
        requireRoom();
        store_.commit();
        return {counted(added_, "palm") + " added, " + std::to_string(replaced_) + " replaced",
                {{"result", "imported"}, {"added", added_}, {"replaced", replaced_}}};
    }

private:
    // All at once: the table has no index by which to look for one.
    void readKeys() {
        SqliteStatement rows(store_.connection(), "SELECT id, userid, palmindex FROM userInfo;");
        int result = rows.step();
        for (; result == SQLITE_ROW; result = rows.step()) {
            rowsOfKeys_.insert({{rows.int64At(1), rows.int32At(2)}, rows.int64At(0)});
        }
        if (result != SQLITE_DONE) {
            store_.fail("cannot be read");
        }
    }

    void insert(const PalmRecord& palm) {
        SqliteStatement insert(store_.connection(),
                               "INSERT INTO userInfo (userid, palmindex, vector_data, learn_count) "
                               "VALUES (?, ?, ?, ?);");
        const std::span<const std::uint8_t> templates(palm.templates);
        require(insert.bindAll(palm.userid, palm.palmindex, templates, palm.learnCount) &&
                insert.stepToEnd());
        ++added_;
    }

    void replace(const PalmRecord& palm) {
        if (!options_.replace) {
            throw Fault(Ending::no, nameOf(palm) + " is enrolled already",
                        "Nothing was imported. Give --replace to put the palms of the file in the "
                        "place of those of the store.");
        }
        const auto [first, last] = rowsOfKeys_.equal_range(keyOf(palm));
        std::for_each(first, last, [&](const auto& row) { replaceRow(row.second, palm); });
        ++replaced_;
    }

    void replaceRow(std::int64_t rowId, const PalmRecord& palm) const {
        SqliteStatement update(
            store_.connection(),
            "UPDATE userInfo SET vector_data = ?, learn_count = ? WHERE id = ?;");
        const std::span<const std::uint8_t> templates(palm.templates);
        require(update.bindAll(templates, palm.learnCount, rowId) && update.stepToEnd());
    }

    void require(bool done) const {
        if (!done) {
            store_.fail("cannot be written");
        }
    }

    void requireRoom() const {
        const std::int64_t last =
            store_.number("SELECT seq FROM sqlite_sequence WHERE name = 'userInfo';");
        if (added_ > 0 && last > kMirroredPalms) {
            throw Fault(Ending::no,
                        "the palms do not fit: their rows would reach number " +
                            std::to_string(last) + ", and the search reaches 10000",
                        "Nothing was imported. \"brairu db compact\" makes the numbers of deleted "
                        "palms free.");
        }
    }

    const ImportOptions& options_;
    ExclusiveStore& store_;
    std::multimap<Key, std::int64_t> rowsOfKeys_;  // as they were before
    long long added_ = 0;
    long long replaced_ = 0;
};

void requireSameCentres(const PalmExport& content, const StoreFiles& files) {
    if (content.centreCount != files.centreCount) {
        throw Fault(Ending::no,
                    "the file has " + counted(content.centreCount, "template") +
                        " of each palm, and database.regis_center_count is " +
                        std::to_string(files.centreCount),
                    "Import into a store of the same number.");
    }
}

// An empty file is no database yet.
bool hasStore(const StoreFiles& files) {
    std::error_code ignored;
    return isThere(files.database) && std::filesystem::file_size(files.database, ignored) != 0;
}

Ending importPalms(const ImportOptions& options, const Settings& settings, Report& report) {
    const ConfiguredStore configured = configuredStore(settings.configPath);
    requireReadable(options.path);
    const PalmExport content = readPalmExport(options.path);
    requireSameCentres(content, configured.files);
    if (!hasStore(configured.files)) {
        makeStore(configured, report, settings.verbose);
    }
    return changeStore(configured, settings, report,
                       [&](ExclusiveStore& store) { return Import(options, store).run(content); });
}

}  // namespace

void addDbImport(const CommandLine& line) {
    const auto options = std::make_shared<ImportOptions>();
    CLI::App* command = line.app.add_subcommand(
        "import", "Takes the palms of an exported file, all or none, while no engine runs");
    command->add_option("file", options->path, "What db export wrote")
        ->required()
        ->type_name("FILE");
    command->add_flag("--replace", options->replace,
                      "Also palms that are enrolled already: those of the file replace them");
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return importPalms(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
