#include "commands/doctor.h"

#include <CLI/CLI.hpp>

#include <algorithm>

#include "examination/captureExamination.h"
#include "examination/configExamination.h"
#include "examination/configKeys.h"
#include "examination/examineApart.h"
#include "examination/fileExamination.h"
#include "examination/findingReport.h"
#include "examination/modelExamination.h"
#include "examination/storeExamination.h"
#include "examination/systemExamination.h"

namespace brairu::tool {
namespace {

struct DoctorOptions {
    bool settings = false;
};

class Doctor {
public:
    Doctor(const Settings& settings, Report& report) : settings_(settings), report_(report) {}

    void examine() {
        add(examineSystem());
        if (readConfig()) {
            add(withDefault(examineValues(document_)));
            examineFiles();
        }
    }

    // Every setting with its value, its range and what it does.
    void listSettings() {
        for (const ConfigKey& key : configKeys()) {
            const Json value = valueOf(key);
            report_.say(nameOf(key) + " = " + (value.is_null() ? "(absent)" : value.dump()));
            report_.say("    " + std::string(key.meaning) + "; " + rangeOf(key));
            list_.push_back({{"name", nameOf(key)},
                             {"value", value},
                             {"range", rangeOf(key)},
                             {"required", key.need != Need::optional},
                             {"meaning", key.meaning}});
        }
    }

    Ending conclude() {
        Json json = summarised(report_, findings_);
        if (!list_.empty()) {
            json["settings"] = list_;
        }
        report_.conclude(json);
        return endingOf(findings_);
    }

private:
    bool readConfig() {
        try {
            document_ = readConfiguration(settings_.configPath);
        } catch (const Fault& fault) {
            add({{Level::fault, "configuration", fault.what(), fault.advice()}});
            return false;
        }
        add(examineFile("configuration", settings_.configPath, false));
        return true;
    }

    Findings withDefault(Findings found) const {
        if (found.empty()) {
            found.push_back({Level::fine, "configuration",
                             settings_.configPath + ": every setting is there, of its type and "
                                                    "within its range",
                             ""});
        }
        return found;
    }

    void examineFiles() {
        if (areSound(document_,
                     {"handpose.input_w", "handpose.input_h", "handpose.model_path_net",
                      "handpose.model_path_blobs", "feature.input_w", "feature.input_h",
                      "feature.model_path_net", "feature.model_path_blobs",
                      "feature.support_model_path_net", "feature.support_model_path_blobs"})) {
            report_.progress("preparing the networks");
            add(examineModels(document_, report_, settings_.verbose));
        }
        if (areSound(document_, {"database.database_path", "database.search_index_path",
                                 "database.regis_center_count"})) {
            report_.progress("reading the store");
            add(examineApart([this] { return examineStore(document_); }, "database",
                             "the store: ", report_, settings_.verbose)
                    .findings);
        }
        if (count("configuration") + count("models") == 0) {
            report_.progress("capturing rendered palms");
            add(examineCapture(settings_.configPath, report_, settings_.verbose));
        } else {
            add({{Level::note, "capture", "not tried: the faults above come first", ""}});
        }
    }

    Json valueOf(const ConfigKey& key) const {
        if (!document_.is_object()) {
            return nullptr;
        }
        const Json holder =
            *key.section == '\0' ? document_ : document_.value(key.section, Json::object());
        return holder.is_object() ? holder.value(key.key, Json()) : Json();
    }

    void add(const Findings& found) {
        sayFindings(report_, found);
        append(findings_, found);
    }

    // Faults of an area.
    long long count(const std::string& area) const {
        return std::ranges::count_if(findings_, [&](const Finding& each) {
            return each.level == Level::fault && each.area == area;
        });
    }

    const Settings& settings_;
    Report& report_;
    ConfigDocument document_;
    Findings findings_;
    Json list_ = Json::array();
};

Ending examine(const DoctorOptions& options, const Settings& settings, Report& report) {
    Doctor doctor(settings, report);
    doctor.examine();
    if (options.settings) {
        doctor.listSettings();
    }
    return doctor.conclude();
}

}  // namespace

void addDoctor(const CommandLine& line) {
    const auto options = std::make_shared<DoctorOptions>();
    CLI::App* command = line.app.add_subcommand(
        "doctor",
        "Looks at configuration, networks, store and processor, tries a capture, and "
        "explains what is wrong; changes nothing");
    command->add_flag("--settings", options->settings,
                      "Also lists every setting: its value, its range, what it does");
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return examine(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
