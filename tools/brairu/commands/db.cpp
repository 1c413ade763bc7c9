#include "commands/db.h"

#include <CLI/CLI.hpp>

#include <array>

#include "commands/dbCommands.h"

namespace brairu::tool {

void addDb(const CommandLine& line) {
    constexpr std::array kCommands{
        addDbList,   addDbShow,   addDbCheck,  addDbBackup,
        addDbExport, addDbImport, addDbDelete, addDbCompact,
    };
    CLI::App* command = line.app.add_subcommand(
        "db", "Looks into the store, moves it, backs it up, and numbers its rows anew");
    command->require_subcommand(1);
    for (const auto& add : kCommands) {
        add({*command, line.chosen});
    }
}

}  // namespace brairu::tool
