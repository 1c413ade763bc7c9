// db delete: a user's palms, or one of them.
#include <CLI/CLI.hpp>

#include <optional>

#include "commands/dbCommands.h"
#include "commands/optionChecks.h"
#include "commands/storeChangeReport.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

struct DeleteOptions {
    std::int64_t user = 0;
    std::optional<std::int32_t> palm;
};

std::string nameOf(const DeleteOptions& options) {
    return "user " + std::to_string(options.user) +
           (options.palm ? ", palm " + std::to_string(*options.palm) : "");
}

void runDelete(const DeleteOptions& options, const ExclusiveStore& store) {
    constexpr char kUser[] = "DELETE FROM userInfo WHERE userid = ?;";
    constexpr char kPalm[] = "DELETE FROM userInfo WHERE userid = ? AND palmindex = ?;";
    SqliteStatement removal(store.connection(), options.palm ? kPalm : kUser);
    const bool bound =
        options.palm ? removal.bindAll(options.user, *options.palm) : removal.bindAll(options.user);
    if (!bound || !removal.stepToEnd()) {
        store.fail("cannot be written");
    }
}

StoreChange removePalms(const DeleteOptions& options, ExclusiveStore& store) {
    runDelete(options, store);
    const std::int64_t palms = store.number("SELECT changes();");
    if (palms == 0) {
        throw Fault(Ending::no, nameOf(options) + " is not enrolled",
                    "\"brairu db list\" says who is.");
    }
    store.commit();
    return {counted(palms, "palm") + " of user " + std::to_string(options.user) + " deleted",
            {{"result", "deleted"}, {"user", options.user}, {"palms", palms}}};
}

Ending deletePalms(const DeleteOptions& options, const Settings& settings, Report& report) {
    return changeStore(configuredStore(settings.configPath), settings, report,
                       [&](ExclusiveStore& store) { return removePalms(options, store); });
}

}  // namespace

void addDbDelete(const CommandLine& line) {
    const auto options = std::make_shared<DeleteOptions>();
    CLI::App* command =
        line.app.add_subcommand("delete", "Deletes a user's palms, while no engine runs");
    command->add_option("user", options->user, "Number of the user")
        ->required()
        ->check(faultOfUserNumber)
        ->type_name("U");
    command->add_option("--palm", options->palm, "This palm only")->type_name("P");
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return deletePalms(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
