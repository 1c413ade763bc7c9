// db check: what doctor says of the store.
#include <CLI/CLI.hpp>

#include "commands/dbCommands.h"
#include "examination/examineApart.h"
#include "examination/findingReport.h"
#include "examination/storeExamination.h"
#include "store/storeFiles.h"

namespace brairu::tool {
namespace {

Ending check(const Settings& settings, Report& report) {
    const ConfiguredStore store = configuredStore(settings.configPath);
    const Findings findings = examineApart([&] { return examineStore(store.document); }, "database",
                                           "the store: ", report, settings.verbose)
                                  .findings;
    sayFindings(report, findings);
    report.conclude(summarised(report, findings));
    return endingOf(findings);
}

}  // namespace

void addDbCheck(const CommandLine& line) {
    CLI::App* command = line.app.add_subcommand(
        "check", "Looks for damage, odd rows and a feature cache that says otherwise");
    command->callback([&chosen = line.chosen] { chosen = check; });
}

}  // namespace brairu::tool
