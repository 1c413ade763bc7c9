// db compact: rows numbered anew, in a smaller file.
#include <CLI/CLI.hpp>

#include "commands/dbCommands.h"
#include "commands/storeChangeReport.h"
#include "report/numbers.h"
#include "store/compaction.h"

namespace brairu::tool {
namespace {

std::string textOf(const Compaction& done) {
    const std::string beyond =
        done.palms > kMirroredPalms
            ? ". The search still does not reach " + counted(done.palms - kMirroredPalms, "palm")
            : "";
    return counted(done.palms, "palm") + " numbered from 1; the last number was " +
           std::to_string(done.lastNumber) + "; " + std::to_string(done.bytesBefore) +
           " bytes, now " + std::to_string(done.bytesAfter) + beyond;
}

Ending compactStore(const Settings& settings, Report& report) {
    return changeStore(configuredStore(settings.configPath), settings, report,
                       [](ExclusiveStore& store) -> StoreChange {
                           const Compaction done = compact(store);
                           return {textOf(done),
                                   {{"result", "compacted"},
                                    {"palms", done.palms},
                                    {"last_number_before", done.lastNumber},
                                    {"bytes_before", done.bytesBefore},
                                    {"bytes_after", done.bytesAfter}}};
                       });
}

}  // namespace

void addDbCompact(const CommandLine& line) {
    CLI::App* command = line.app.add_subcommand(
        "compact",
        "Numbers the rows anew, so that the search reaches all, and gives unused space "
        "back; while no engine runs");
    command->callback([&chosen = line.chosen] { chosen = compactStore; });
}

}  // namespace brairu::tool
