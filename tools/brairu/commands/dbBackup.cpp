// db backup: a copy of the database as it is at one moment.
#include <CLI/CLI.hpp>

#include "commands/dbCommands.h"
#include "commands/newFileReport.h"
#include "store/enrolledRows.h"
#include "store/privateFile.h"

namespace brairu::tool {
namespace {

// Copied, checked, and only then written.
long long copyInto(const std::string& path, const ReadOnlyDatabase& database) {
    PrivateFile file(path);
    const ReadOnlyDatabase copy = database.copyInMemory();
    if (const std::string verdict = copy.integrity(); verdict != "ok") {
        throw EngineFault("the database is damaged: " + verdict,
                          "Run \"brairu db check\". No backup was made.");
    }
    const auto palms = static_cast<long long>(enrolledRows(copy).size());
    copy.visitFileContent([&](std::string_view content) { file.write(content); });
    file.keep();
    return palms;
}

Ending backUp(const std::string& path, const Settings& settings, Report& report) {
    const StoreFiles files = configuredStore(settings.configPath).files;
    const long long palms = copyInto(path, openDatabase(files));
    reportNewFile({"backed_up", path, palms}, report);
    return Ending::done;
}

}  // namespace

void addDbBackup(const CommandLine& line) {
    CLI::App* command = line.app.add_subcommand(
        "backup", "Copies the database to a new file, also while an engine uses it");
    const auto path = std::make_shared<std::string>();
    command->add_option("file", *path, "The new file")->required()->type_name("FILE");
    command->callback([path, &chosen = line.chosen] {
        chosen = [path](const Settings& settings, Report& report) {
            return backUp(*path, settings, report);
        };
    });
}

}  // namespace brairu::tool
