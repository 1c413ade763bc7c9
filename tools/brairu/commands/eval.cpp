#include "commands/eval.h"

#include <CLI/CLI.hpp>

#include <map>

#include "engine/engine.h"
#include "engine/engineProcess.h"
#include "engine/engineSetup.h"
#include "evaluation/captureCollection.h"
#include "evaluation/evaluation.h"
#include "evaluation/evaluationFolder.h"
#include "evaluation/evaluationJson.h"
#include "evaluation/evaluationSections.h"
#include "evaluation/goals.h"
#include "evaluation/palmPictures.h"
#include "evaluation/renderedCaptures.h"
#include "frames/frameOptions.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

constexpr int kMostPeople = 1'000'000;
constexpr int kUsualEnrolment = 3;  // of rendered people

struct EvalOptions {
    std::string folder;
    FrameOptions frames;  // the size of raw planes alone
    int enrolment = -1;
    double falseAccept = 0.001;
    double gallery = 100;
    bool ignoresGuidance = false;
    std::string report;
    RenderedPeople rendered;
};

EvaluationPlan planOf(const EvalOptions& options, ConfigDocument& config) {
    EvaluationPlan plan;
    const int usual = options.rendered.people > 0 ? kUsualEnrolment : 0;
    plan.enrolment = static_cast<std::size_t>(options.enrolment < 0 ? usual : options.enrolment);
    plan.centres = readInt(config, "database", "regis_center_count");
    plan.maxCount = readInt(config, "database", "regis_max_count");
    plan.detectionLevel = detectionLevel(config);
    plan.thresholds = {readFloat(config, "feature", "auth_threshold"),
                       readFloat(config, "feature", "filter_threshold")};
    plan.falseAccept = options.falseAccept;
    plan.gallery = options.gallery;
    return plan;
}

void requireEnoughForCentres(const EvaluationPlan& plan) {
    if (plan.enrolment > 0 && plan.enrolment < static_cast<std::size_t>(plan.centres)) {
        throw InputFault("an enrolment of " +
                             counted(static_cast<long long>(plan.enrolment), "capture") +
                             " cannot make " + std::to_string(plan.centres) + " templates",
                         "Give --enrol at least as many as database.regis_center_count.");
    }
}

// One run of the command, in the engine's process.
class EvaluationRun {
public:
    EvaluationRun(const EvalOptions& options, const ConfigDocument& config, Report& report)
        : options_(options), config_(config), report_(report), plan_(planOf(options, config_)) {}

    Ending evaluatePictures(const std::vector<PalmPicture>& pictures) {
        const CaptureSet set =
            collectPictures(pictures, options_.frames.rawSize(), config_, report_);
        const Evaluation evaluation = compare(set);
        conclude(evaluation, sectionsOf(evaluation), jsonOf(evaluation));
        return Ending::done;
    }

    Ending evaluateRendered() {
        RenderedPeople people = options_.rendered;
        people.enrolment = static_cast<int>(plan_.enrolment);
        const RenderedSet rendered = collectRendered(people, config_, report_);
        const Evaluation evaluation = compare(rendered.set);
        const std::vector<Goal> goals = goalsOf(evaluation, rendered.detection, config_);
        std::vector<Section> sections = sectionsOf(evaluation);
        sections.push_back(sectionOf(goals));
        Json json = jsonOf(evaluation);
        json["goals"] = jsonOf(goals);
        conclude(evaluation, sections, json);
        return Ending::done;
    }

private:
    Evaluation compare(const CaptureSet& set) {
        return {set, plan_, [this](std::size_t done, std::size_t all) {
                    report_.progress("comparing palm " + std::to_string(done + 1) + " of " +
                                     std::to_string(all));
                }};
    }

    void conclude(const Evaluation& evaluation, const std::vector<Section>& sections,
                  const Json& json) {
        for (const Section& section : sections) {
            say(report_, section);
        }
        if (!options_.report.empty()) {
            writeEvaluation(options_.report, evaluation, sections);
            report_.say("");
            report_.say("Report and pictures are in " + options_.report + ".");
        }
        // Last: what fails before leaves its fault as the only document.
        report_.conclude(json);
    }

    const EvalOptions& options_;
    ConfigDocument config_;
    Report& report_;
    EvaluationPlan plan_;
};

void requireOneSource(const EvalOptions& options) {
    if (options.folder.empty() == (options.rendered.people == 0)) {
        throw InputFault("eval takes either a folder of pictures or --rendered",
                         "Give the folder that holds the pictures, like: brairu eval pictures/");
    }
}

Ending evaluate(const EvalOptions& options, const Settings& settings, Report& report) {
    requireOneSource(options);
    if (!options.report.empty()) {
        makeReportFolder(options.report);
    }
    const std::vector<PalmPicture> pictures =
        options.folder.empty() ? std::vector<PalmPicture>() : palmPicturesIn(options.folder);
    const EngineSetup setup(settings.configPath, StoreChoice::empty,
                            options.ignoresGuidance ? ignoreGuidance : keepSettings);
    ConfigDocument config = setup.document();
    requireEnoughForCentres(planOf(options, config));
    const auto work = [&] {
        const Engine engine(setup.configPath());
        EvaluationRun run(options, setup.document(), report);
        return pictures.empty() ? run.evaluateRendered() : run.evaluatePictures(pictures);
    };
    return runEngine(work, report, settings.verbose);
}

void addTargets(CLI::App& command, EvalOptions& options) {
    command
        .add_option("--far", options.falseAccept,
                    "False-accept rate to recommend thresholds for: of one search, or of one "
                    "verification")
        ->check(CLI::Range(1e-12, 0.5))
        ->capture_default_str()
        ->type_name("RATE");
    command.add_option("--gallery", options.gallery, "Palms that are enrolled where it is used")
        ->check(CLI::Range(1.0, 1e9))
        ->capture_default_str()
        ->type_name("PALMS");
    command
        .add_option(
            "--enrol", options.enrolment,
            "Captures of each palm that make its templates, by the means of an enrolment, "
            "and the others search them; 0 compares every two captures. 0 unless told otherwise, 3 "
            "for --rendered")
        ->check(CLI::Range(0, 1000))
        ->type_name("N");
}

void addRendered(CLI::App& command, EvalOptions& options) {
    constexpr char kGroup[] = "Rendered people";
    RenderedPeople& rendered = options.rendered;
    const auto count = [&](const char* name, int& value, const char* help) {
        command.add_option(name, value, help)
            ->check(CLI::Range(0, kMostPeople))
            ->capture_default_str()
            ->group(kGroup)
            ->type_name("N");
    };
    count("--rendered", rendered.people,
          "Takes captures of so many rendered people instead of pictures, both palms of each");
    count("--captures", rendered.captures, "Captures of each palm");
    count("--bystanders", rendered.bystanders, "People more who are enrolled only");
    count("--handless", rendered.handless, "Frames without an open palm, for false alarms");
    static const std::map<std::string, Scenario> kScenarios{{"enrolment", Scenario::enrolment},
                                                            {"hard", Scenario::hard}};
    command
        .add_flag(
            "--any-camera", rendered.isAnyCamera,
            "With --rendered: each 25 people stand before a camera of their own, from visible "
            "light to deep near-infrared light, instead of all before the usual one")
        ->group(kGroup);
    command.add_option("--scenario", rendered.scenario, "enrolment or hard")
        ->transform(CLI::CheckedTransformer(kScenarios).description(""))
        ->group(kGroup)
        ->default_str("hard")
        ->type_name("NAME");
    command.add_option("--seed", rendered.seed, "Other seeds are other people")
        ->capture_default_str()
        ->group(kGroup)
        ->type_name("N");
}

}  // namespace

void addEval(const CommandLine& line) {
    const auto options = std::make_shared<EvalOptions>();
    CLI::App* command = line.app.add_subcommand(
        "eval",
        "Measures how well palms are told apart, on pictures named PALM_CAPTURE.png, and "
        "recommends thresholds for a false-accept rate and a gallery size");
    command
        ->add_option("folder", options->folder,
                     "Pictures or raw planes, also in sub-folders: anna-left_3.png is a capture of "
                     "the palm anna-left")
        ->type_name("FOLDER");
    addTargets(*command, *options);
    command->add_flag("--ignore-guidance", options->ignoresGuidance,
                      "Opens the limits of placement, size, light and sharpness, for pictures that "
                      "nobody guided");
    command
        ->add_option("--report", options->report,
                     "Writes report.md, scores.csv and pictures into this folder")
        ->type_name("FOLDER");
    addSizeOption(*command, options->frames);
    addRendered(*command, *options);
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return evaluate(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
