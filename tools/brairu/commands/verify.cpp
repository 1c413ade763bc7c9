#include "commands/verify.h"

#include <CLI/CLI.hpp>

#include "engine/engine.h"
#include "engine/engineProcess.h"
#include "engine/engineSetup.h"
#include "frames/frameFile.h"
#include "frames/frameOptions.h"
#include "matching/candidates.h"
#include "report/frameReport.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

struct VerifyOptions {
    std::string first;
    std::string second;
    FrameOptions frames;  // the size of raw planes alone
    bool scores = false;
};

constexpr int kDigits = 3;

class Verification {
public:
    Verification(ConfigDocument config, bool scores, Report& report)
        : config_(std::move(config)), scores_(scores), report_(report) {}

    // The capture of a frame; nothing, and the frame reported, when it is refused.
    std::optional<Features> capture(const FrameLabel& label, const Frame& frame) {
        const Capture capture = captureFrom(frame.luma);
        if (capture.isGood()) {
            return capture.features;
        }
        const Explanation explanation = explain(frame.luma, capture, config_);
        report_.say(textOf(label) + ": " + refusalOf(explanation));
        refused_.push_back(jsonOf(label, explanation));
        return std::nullopt;
    }

    Ending refuse() {
        report_.conclude({{"result", "refused"}, {"frames", refused_}});
        return Ending::no;
    }

    Ending compare(const Features& first, const Features& second) {
        PvaAuthResult result{};
        const bool same = pvaGet1to1AuthRes(first.data(), second.data(), &result) == 1;
        report_.say(std::string(same ? "the same palm" : "not the same palm") + ", similarity " +
                    rounded(result.similarity, kDigits));
        Json json{{"result", same ? "same" : "different"}, {"similarity", result.similarity}};
        if (scores_) {
            const Measures scores =
                comparisonScores(compareCaptures(first.data(), second.data()), config_);
            sayMeasures(report_, scores);
            json["scores"] = jsonOf(scores);
        }
        report_.conclude(json);
        return same ? Ending::done : Ending::no;
    }

private:
    ConfigDocument config_;
    bool scores_;
    Report& report_;
    Json refused_ = Json::array();
};

Ending verify(const VerifyOptions& options, const Settings& settings, Report& report) {
    const std::optional<cv::Size> size = options.frames.rawSize();
    const Frame first = readFrame(options.first, size);
    const Frame second = readFrame(options.second, size);
    const EngineSetup setup(settings.configPath, StoreChoice::empty);
    const auto work = [&] {
        const Engine engine(setup.configPath());
        Verification verification(setup.document(), options.scores, report);
        const auto one = verification.capture({1, first.name}, first);
        const auto other = verification.capture({2, second.name}, second);
        return one && other ? verification.compare(*one, *other) : verification.refuse();
    };
    return runEngine(work, report, settings.verbose);
}

}  // namespace

void addVerify(const CommandLine& line) {
    const auto options = std::make_shared<VerifyOptions>();
    CLI::App* command =
        line.app.add_subcommand("verify", "Says whether two frames show the same palm");
    command->add_option("first", options->first, "A picture, or a raw plane of grey with --size")
        ->required()
        ->type_name("FRAME");
    command->add_option("second", options->second, "Another one")->required()->type_name("FRAME");
    addSizeOption(*command, options->frames);
    command->add_flag("--scores", options->scores,
                      "Shows the similarity of each block beside its threshold");
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return verify(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
