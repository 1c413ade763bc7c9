// db export: palms into a file that another store can import.
#include <CLI/CLI.hpp>

#include <optional>
#include <set>

#include "commands/dbCommands.h"
#include "commands/newFileReport.h"
#include "commands/optionChecks.h"
#include "store/enrolledRows.h"
#include "store/palmExport.h"
#include "store/privateFile.h"

namespace brairu::tool {
namespace {

struct ExportOptions {
    std::string path;
    std::optional<std::int64_t> user;
};

std::string nameOf(const StoredPalm& palm) {
    return "user " + std::to_string(palm.userid) + ", palm " + std::to_string(palm.palmindex);
}

void requireExportable(const StoredPalm& palm, const StoreFiles& files) {
    if (palm.templates.size() != files.rowBytes()) {
        throw EngineFault(nameOf(palm) + " has templates of another size than " +
                              std::to_string(files.rowBytes()) + " bytes",
                          "Run \"brairu db check\". Nothing was exported.");
    }
}

PalmRecord recordOf(const StoredPalm& palm) {
    return {palm.userid,
            palm.palmindex,
            palm.learnCount,
            {palm.templates.begin(), palm.templates.end()}};
}

PalmExport collected(const ExportOptions& options, const StoreFiles& files) {
    PalmExport content{files.centreCount, {}};
    std::set<std::pair<std::int64_t, std::int32_t>> seen;
    const ReadOnlyDatabase database = openDatabase(files);
    if (!database.hasTable()) {
        return content;
    }
    database.visitPalms([&](const StoredPalm& palm) {
        if (options.user && palm.userid != *options.user) {
            return;
        }
        requireExportable(palm, files);
        if (!seen.insert({palm.userid, palm.palmindex}).second) {
            throw EngineFault(nameOf(palm) + " is enrolled twice",
                              "Delete it and enrol it once. Nothing was exported.");
        }
        content.palms.push_back(recordOf(palm));
    });
    return content;
}

Ending exportPalms(const ExportOptions& options, const Settings& settings, Report& report) {
    const StoreFiles files = configuredStore(settings.configPath).files;
    const PalmExport content = collected(options, files);
    if (content.palms.empty()) {
        throw Fault(Ending::no,
                    options.user ? "user " + std::to_string(*options.user) + " is not enrolled"
                                 : "nobody is enrolled in " + files.database,
                    "\"brairu db list\" says who is.");
    }
    PrivateFile file(options.path);
    file.write(textOf(content));
    file.keep();
    reportNewFile({"exported", options.path, static_cast<long long>(content.palms.size())}, report);
    return Ending::done;
}

}  // namespace

void addDbExport(const CommandLine& line) {
    const auto options = std::make_shared<ExportOptions>();
    CLI::App* command = line.app.add_subcommand(
        "export", "Writes palms to a new file that another store can import");
    command->add_option("file", options->path, "The new file")->required()->type_name("FILE");
    command->add_option("--user", options->user, "This user's palms only")
        ->check(faultOfUserNumber)
        ->type_name("U");
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return exportPalms(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
