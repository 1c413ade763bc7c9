// brairu: for whoever builds a door: looks at the set-up and at frames, enrols and recognises, and
// says in words what the library says in codes.
#include <CLI/CLI.hpp>

#include <array>
#include <cstdio>
#include <opencv2/core/utils/logger.hpp>

#include "commands/bench.h"
#include "commands/db.h"
#include "commands/detect.h"
#include "commands/doctor.h"
#include "commands/enrol.h"
#include "commands/eval.h"
#include "commands/identify.h"
#include "commands/models.h"
#include "commands/palms.h"
#include "commands/verify.h"
#include "commands/watch.h"
#include "report/printable.h"
#include "report/report.h"

namespace {

using namespace brairu::tool;

constexpr std::array kCommands{
    addDoctor, addDetect, addEnrol,  addIdentify, addVerify, addWatch,
    addDb,     addEval,   addModels, addPalms,    addBench,
};

constexpr char kEndings[] =
    "Exit status: 0 done, or recognised; 1 the answer is no (no hand, refused, not recognised); "
    "2 wrong usage, or an input that cannot be read; 3 the engine or its configuration is at "
    "fault.";

void addSettings(CLI::App& app, Settings& settings) {
    app.add_option("--config", settings.configPath, "The engine's configuration file")
        ->envname("BRAIRU_CONFIG")
        ->default_val(BRAIRU_DEFAULT_CONFIG)
        ->type_name("FILE");
    app.add_flag("--json", settings.json, "Prints results as JSON");
    app.add_flag("--verbose", settings.verbose, "Shows the engine's own lines on standard error");
}

void addCommands(CLI::App& app, Work& chosen) {
    app.set_version_flag("--version", "brairu " BRAIRU_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    for (const auto& add : kCommands) {
        add({app, chosen});
    }
    app.footer(kEndings);
    for (CLI::App* command : app.get_subcommands({})) {
        command->footer(kEndings);
    }
}

// The word that stands where a command should; empty when it is something else that is wrong.
std::string unknownCommand(const CLI::App& app) {
    const CLI::App* last = &app;
    while (!last->get_subcommands().empty()) {
        last = last->get_subcommands().front();
    }
    const std::vector<std::string> others = app.remaining(true);
    const bool lacksCommand = !last->get_subcommands({}).empty() && !others.empty();
    return lacksCommand && !others.front().starts_with('-') ? others.front() : "";
}

Ending refuse(const CLI::App& app, const CLI::ParseError& fault) {
    if (const std::string unknown = unknownCommand(app); !unknown.empty()) {
        (void)std::fprintf(stderr, "\"%s\" is no command\nRun with --help for more information.\n",
                           printable(unknown).c_str());
        return Ending::inputFault;
    }
    return app.exit(fault) == 0 ? Ending::done : Ending::inputFault;
}

Ending run(const Work& work, const Settings& settings) {
    Report report(settings);
    try {
        return work(settings, report);
    } catch (const Fault& fault) {
        report.fail(fault);
        return fault.ending();
    } catch (const std::exception& fault) {
        report.fail(EngineFault(fault.what(), "This should not happen: please report it."));
        return Ending::engineFault;
    }
}

}  // namespace

int main(int argc, char** argv) {
    // What OpenCV has to say of a file, the tool says better.
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    CLI::App app{"Checks, tries and runs the palm recognition of libbrairu.", "brairu"};
    Settings settings;
    Work chosen;
    addSettings(app, settings);
    addCommands(app, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& fault) {
        return static_cast<int>(refuse(app, fault));
    }
    return static_cast<int>(run(chosen, settings));
}
