// db backup: a copy of the database as it is at one moment.
#include <CLI/CLI.hpp>

#include "commands/dbCommands.h"
#include "report/numbers.h"
#include "report/report.h"
#include "store/enrolledRows.h"
#include "store/privateFile.h"

namespace brairu::tool {
namespace {

// Copied anew, checked, and only then given its name.
long long copyInto(const std::string& path, const ReadOnlyDatabase& database) {
    PrivateFile file(path);
    database.copyTo(file.workingPath());
    const ReadOnlyDatabase copy(file.workingPath());
    if (const std::string verdict = copy.integrity(); verdict != "ok") {
        throw EngineFault("the database is damaged: " + verdict,
                          "Run \"brairu db check\". No backup was made.");
    }
    const auto palms = static_cast<long long>(enrolledRows(copy).size());
    file.keep();
    return palms;
}

Ending backUp(const std::string& path, const Settings& settings, Report& report) {
    const StoreFiles files = configuredStore(settings.configPath).files;
    const long long palms = copyInto(path, openDatabase(files));
    report.say(counted(palms, "palm") + " in " + path +
               ". It holds biometric data: only you may read it");
    report.conclude({{"result", "backed_up"}, {"file", path}, {"palms", palms}});
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
