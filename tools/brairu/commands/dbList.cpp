// db list and db show: who is enrolled, and how.
#include <CLI/CLI.hpp>

#include <algorithm>

#include "commands/dbCommands.h"
#include "commands/optionChecks.h"
#include "report/numbers.h"
#include "report/report.h"
#include "store/enrolledRows.h"

namespace brairu::tool {
namespace {

using Rows = std::vector<EnrolledRow>;

constexpr char kCompactAdvice[] =
    "The search does not reach rows beyond 10000: \"brairu db compact\" numbers them anew.";

std::string rowText(const EnrolledRow& row) {
    return "row " + std::to_string(row.rowId) + (isMirrored(row.rowId) ? "" : ", not searched");
}

Json jsonOf(const EnrolledRow& row) {
    return {{"user", row.userid},         {"palm", row.palmindex},
            {"row", row.rowId},           {"searched", isMirrored(row.rowId)},
            {"templates", row.templates}, {"learn_count", row.learnCount}};
}

Json jsonOf(const Rows& rows) {
    Json list = Json::array();
    for (const EnrolledRow& row : rows) {
        list.push_back(jsonOf(row));
    }
    return list;
}

// "user 7: palm 0 (row 1), palm 1 (row 2)". Returns how many users there are.
long long sayUsers(const Rows& rows, Report& report) {
    long long users = 0;
    for (auto row = rows.begin(); row != rows.end(); ++users) {
        std::string line = "user " + std::to_string(row->userid) + ":";
        const auto first = row;
        for (; row != rows.end() && row->userid == first->userid; ++row) {
            line += (row == first ? " palm " : ", palm ") + std::to_string(row->palmindex) + " (" +
                    rowText(*row) + ")";
        }
        report.say(line);
    }
    return users;
}

Ending list(const Settings& settings, Report& report) {
    const StoreFiles files = configuredStore(settings.configPath).files;
    const Rows rows = enrolledRows(openDatabase(files));
    const auto unsearched =
        std::ranges::count_if(rows, [](const EnrolledRow& row) { return !isMirrored(row.rowId); });
    const auto palms = static_cast<long long>(rows.size());
    const long long users = sayUsers(rows, report);
    report.say(counted(palms, "palm") + " of " + counted(users, "user") + " in " + files.database);
    if (unsearched > 0) {
        report.say(counted(unsearched, "palm") + " not searched. " + kCompactAdvice);
    }
    report.conclude({{"database", files.database},
                     {"users", users},
                     {"count", palms},
                     {"not_searched", unsearched},
                     {"palms", jsonOf(rows)}});
    return Ending::done;
}

Ending show(std::int64_t user, const Settings& settings, Report& report) {
    Rows rows = enrolledRows(openDatabase(configuredStore(settings.configPath).files));
    std::erase_if(rows, [=](const EnrolledRow& row) { return row.userid != user; });
    for (const EnrolledRow& row : rows) {
        report.say("user " + std::to_string(user) + ", palm " + std::to_string(row.palmindex) +
                   ": " + rowText(row) + "; " +
                   counted(static_cast<long long>(row.templates), "template") + "; learn count " +
                   std::to_string(row.learnCount));
    }
    if (rows.empty()) {
        report.say("user " + std::to_string(user) + " is not enrolled");
    }
    report.conclude({{"user", user}, {"palms", jsonOf(rows)}});
    return rows.empty() ? Ending::no : Ending::done;
}

}  // namespace

void addDbList(const CommandLine& line) {
    CLI::App* command = line.app.add_subcommand(
        "list", "Every user with the palms, their rows, and whether the search reaches them");
    command->callback([&chosen = line.chosen] { chosen = list; });
}

void addDbShow(const CommandLine& line) {
    CLI::App* command =
        line.app.add_subcommand("show", "The palms of a user: rows, templates, learn counts");
    const auto user = std::make_shared<std::int64_t>(0);
    command->add_option("user", *user, "Number of the user")
        ->required()
        ->check(faultOfUserNumber)
        ->type_name("U");
    command->callback([user, &chosen = line.chosen] {
        chosen = [user](const Settings& settings, Report& report) {
            return show(*user, settings, report);
        };
    });
}

}  // namespace brairu::tool
