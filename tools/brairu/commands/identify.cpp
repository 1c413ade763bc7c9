#include "commands/identify.h"

#include <CLI/CLI.hpp>

#include "engine/engine.h"
#include "engine/engineProcess.h"
#include "engine/engineSetup.h"
#include "engine/enrolledPalms.h"
#include "frames/frameOptions.h"
#include "frames/numberedFrames.h"
#include "matching/candidates.h"
#include "matching/recognition.h"

namespace brairu::tool {
namespace {

struct IdentifyOptions {
    FrameOptions frames;
    bool scores = false;
    bool learn = false;
};

constexpr std::size_t kShownCandidates = 3;

class Identification {
public:
    Identification(const EngineSetup& setup, bool scores, Report& report)
        : config_(setup.document()),
          databasePath_(setup.databasePath()),
          scores_(scores),
          report_(report) {}

    void look(const FrameLabel& label, const Frame& frame) {
        const Capture capture = captureFrom(frame.luma);
        if (capture.isGood()) {
            answer(label, capture.features);
        } else {
            refuse(label, explain(frame.luma, capture, config_));
        }
    }

    Ending conclude() {
        report_.conclude({{"frames", frames_}, {"recognised", recognised_}});
        return recognised_ > 0 ? Ending::done : Ending::no;
    }

private:
    void refuse(const FrameLabel& label, const Explanation& explanation) {
        report_.say(textOf(label) + ": " + refusalOf(explanation));
        frames_.push_back(jsonOf(label, explanation));
    }

    void answer(const FrameLabel& label, const Features& features) {
        // Before the engine may learn from the capture.
        const std::vector<Candidate> nearest =
            scores_ ? nearestPalms(databasePath_, features, kShownCandidates)
                    : std::vector<Candidate>();
        const Recognition recognition = recognise(features);
        recognised_ += recognition.kind == Recognition::Kind::recognised ? 1 : 0;
        report_.say(textOf(label) + ": " + textOf(recognition));
        Json json{{"frame", label.name}, {"number", label.number}};
        json.update(jsonOf(recognition));
        if (scores_) {
            json["nearest"] = shown(nearest);
        }
        frames_.push_back(json);
    }

    Json shown(const std::vector<Candidate>& nearest) {
        Json list = Json::array();
        for (const Candidate& candidate : nearest) {
            const Measures scores = searchScores(candidate.scores, config_);
            report_.say("  nearest: user " + std::to_string(candidate.userid) + ", palm " +
                        std::to_string(candidate.palmindex));
            sayMeasures(report_, scores);
            list.push_back({{"user", candidate.userid},
                            {"palm", candidate.palmindex},
                            {"row", candidate.rowId},
                            {"scores", jsonOf(scores)}});
        }
        return list;
    }

    ConfigDocument config_;
    std::string databasePath_;
    bool scores_;
    Report& report_;
    Json frames_ = Json::array();
    std::size_t recognised_ = 0;
};

Ending identify(const IdentifyOptions& options, const Settings& settings, Report& report) {
    const std::unique_ptr<FrameSource> frames = openFrames(options.frames);
    const EngineSetup setup(settings.configPath,
                            options.learn ? StoreChoice::real : StoreChoice::snapshot);
    const auto work = [&] {
        const Engine engine(setup.configPath());
        requireEnrolledPalms(setup.userDatabasePath());
        Identification identification(setup, options.scores, report);
        visitFrames(*frames, report, [&](const FrameLabel& label, const Frame& frame) {
            identification.look(label, frame);
            return true;
        });
        return identification.conclude();
    };
    return runEngine(work, report, settings.verbose);
}

}  // namespace

void addIdentify(const CommandLine& line) {
    const auto options = std::make_shared<IdentifyOptions>();
    CLI::App* command = line.app.add_subcommand(
        "identify",
        "Says whose palm is in frames, on a copy of the store: nothing in it changes, and a door "
        "that uses it is not disturbed. Ends well when a frame is recognised");
    addFrameOptions(*command, options->frames);
    command->add_flag("--scores", options->scores,
                      "Shows the nearest palms, block by block, beside the thresholds");
    command->add_flag("--learn", options->learn,
                      "Works on the store itself, whose templates learn from what it recognises");
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return identify(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
