#include "commands/enrol.h"

#include <CLI/CLI.hpp>

#include "commands/optionChecks.h"
#include "engine/engine.h"
#include "engine/engineProcess.h"
#include "engine/engineSetup.h"
#include "engine/enrolledPalms.h"
#include "frames/frameOptions.h"
#include "frames/numberedFrames.h"
#include "match/registration.h"
#include "matching/candidates.h"

namespace brairu::tool {
namespace {

struct EnrolOptions {
    FrameOptions frames;
    std::int64_t user = 0;
    std::int32_t palm = 0;
    bool allowDuplicate = false;
};

// Of a configuration that does not name one.
constexpr int kDefaultDetectionLevel = 3;

std::string textOf(const PvaUserKey& key) {
    return "user " + std::to_string(key.userid) + ", palm " + std::to_string(key.palmindex);
}

// What an enrolment came to.
struct Outcome {
    Ending ending;
    const char* id;
    std::string message;
    std::string advice;
};

class Enrolment {
public:
    Enrolment(const EngineSetup& setup, const EnrolOptions& options, Report& report)
        : config_(setup.document()),
          databasePath_(setup.databasePath()),
          checkDuplicate_(options.allowDuplicate ? 0 : 1),
          report_(report) {
        key_.userid = options.user;
        key_.palmindex = options.palm;
        result_.status = PVA_REGISTER_MORE;
        result_.maxCount = pvaGetRegisterBufferCapacity();
    }

    bool isEnrolledAlready() const { return pvaDataBaseExistUser(&key_) == 1; }

    // False when no further frame is wanted.
    bool take(const FrameLabel& label, const Frame& frame) {
        const Capture capture = captureFrom(frame.luma);
        if (capture.isGood()) {
            offer(label, capture.features);
        } else {
            const Explanation explanation = explain(frame.luma, capture, config_);
            report_.say(tool::textOf(label) + ": " + refusalOf(explanation));
            frames_.push_back(tool::jsonOf(label, explanation));
        }
        return result_.status == PVA_REGISTER_MORE;
    }

    Outcome outcome() const {
        switch (result_.status) {
            case PVA_REGISTER_COMMITTED: return isEnrolledAlready() ? enrolled() : failed();
            case PVA_REGISTER_DUPLICATE: return duplicate();
            case PVA_REGISTER_MORE: return unfinished();
            default: return failed();
        }
    }

    Outcome alreadyThere() const {
        return {Ending::no, "already_enrolled", textOf(key_) + " is enrolled already",
                "Choose another palm number, or delete this palm first."};
    }

    Ending conclude(const Outcome& outcome) {
        pvaClearRegisterBuffer();
        report_.say(outcome.message + (outcome.advice.empty() ? "" : ". " + outcome.advice));
        Json json{{"result", outcome.id},   {"message", outcome.message},
                  {"user", key_.userid},    {"palm", key_.palmindex},
                  {"captures", captures()}, {"needed", result_.maxCount}};
        if (!outcome.advice.empty()) {
            json["advice"] = outcome.advice;
        }
        json["frames"] = frames_;
        report_.conclude(json);
        return outcome.ending;
    }

private:
    int captures() const { return static_cast<int>(taken_.size()); }

    void offer(const FrameLabel& label, const Features& features) {
        const int before = result_.count;
        pvaRegister(&key_, features.data(), checkDuplicate_, &result_);
        if (result_.count == before && result_.status == PVA_REGISTER_MORE) {
            refuse(label, features);
        } else {
            taken_.push_back(features);
            const std::string message = "capture " + std::to_string(taken_.size()) + " of " +
                                        std::to_string(result_.maxCount);
            report_.say(tool::textOf(label) + ": " + message);
            frames_.push_back(jsonOf(label, "taken", message));
        }
    }

    void refuse(const FrameLabel& label, const Features& features) {
        const std::string message =
            "too much like an earlier capture of this enrolment: " + described(likeness(features));
        const std::string advice =
            "Move the hand a little between captures: closer, further, or turned slightly.";
        report_.say(tool::textOf(label) + ": refused, " + message + ". " + advice);
        Json json = jsonOf(label, "too_similar", message);
        json["advice"] = advice;
        frames_.push_back(json);
    }

    // Of the earlier capture that is most alike.
    Measure likeness(const Features& features) {
        float most = -1.0f;
        for (const Features& earlier : taken_) {
            most = std::max(most, compareCaptures(features.data(), earlier.data())[0]);
        }
        const float cap =
            dynamicSimilarityCap(config_["handpose"].contains("dynamic_detection_level")
                                     ? readInt(config_, "handpose", "dynamic_detection_level")
                                     : kDefaultDetectionLevel);
        return {"similarity", most, 3, "", {{Bound::atMost, static_cast<double>(cap)}}};
    }

    static Json jsonOf(const FrameLabel& label, const char* result, const std::string& message) {
        return {{"frame", label.name},
                {"number", label.number},
                {"result", result},
                {"message", message}};
    }

    Outcome enrolled() const {
        return {Ending::done, "enrolled", textOf(key_) + " is enrolled", ""};
    }

    Outcome unfinished() const {
        const int missing = result_.maxCount - captures();
        return {Ending::no, "too_few_captures",
                textOf(key_) + " is not enrolled: " + std::to_string(captures()) + " of " +
                    std::to_string(result_.maxCount) + " captures were taken",
                "Give all frames again with at least " + std::to_string(missing) +
                    " more good ones, in which the hand has moved a little."};
    }

    Outcome duplicate() const {
        const std::vector<Candidate> nearest = nearestPalms(databasePath_, taken_.back(), 1);
        const std::string owner = nearest.empty()
                                      ? "someone"
                                      : "user " + std::to_string(nearest[0].userid) + ", palm " +
                                            std::to_string(nearest[0].palmindex);
        return {Ending::no, "duplicate",
                textOf(key_) + " is not enrolled: this palm is enrolled already, as " + owner,
                "Delete that palm first, or give --allow-duplicate."};
    }

    Outcome failed() const {
        return {Ending::engineFault, "failed",
                textOf(key_) + " is not enrolled: the store could not be written",
                "Look for a full disk, a read-only file system, or another program that holds the "
                "database; \"brairu doctor\" checks the store."};
    }

    ConfigDocument config_;
    std::string databasePath_;
    int checkDuplicate_;
    Report& report_;
    PvaUserKey key_{};
    PvaRegisterResult result_{};
    std::vector<Features> taken_;
    Json frames_ = Json::array();
};

Ending enrolWithEngine(const EnrolOptions& options, const EngineSetup& setup, FrameSource& frames,
                       Report& report) {
    const Engine engine(setup.configPath());
    if (!isThere(setup.databasePath())) {
        throw EngineFault("the engine could not make the database " + setup.databasePath(),
                          "Run \"brairu doctor\": it looks at the store and its folder.");
    }
    Enrolment enrolment(setup, options, report);
    if (enrolment.isEnrolledAlready()) {
        return enrolment.conclude(enrolment.alreadyThere());
    }
    visitFrames(frames, report, [&](const FrameLabel& label, const Frame& frame) {
        return enrolment.take(label, frame);
    });
    return enrolment.conclude(enrolment.outcome());
}

Ending enrol(const EnrolOptions& options, const Settings& settings, Report& report) {
    const std::unique_ptr<FrameSource> frames = openFrames(options.frames);
    const EngineSetup setup(settings.configPath, StoreChoice::real);
    requireWritableStore(setup.databasePath());
    const auto work = [&] { return enrolWithEngine(options, setup, *frames, report); };
    return runEngine(work, report, settings.verbose);
}

}  // namespace

void addEnrol(const CommandLine& line) {
    const auto options = std::make_shared<EnrolOptions>();
    CLI::App* command = line.app.add_subcommand(
        "enrol",
        "Enrols a palm from frames in which the hand moves a little; stops at the last "
        "capture it needs");
    command->add_option("--user", options->user, "Number of the user")
        ->required()
        ->check(faultOfUserNumber)
        ->type_name("U");
    command->add_option("--palm", options->palm, "Number of this palm of the user, 0 or 1 say")
        ->required()
        ->type_name("P");
    command->add_flag("--allow-duplicate", options->allowDuplicate,
                      "Enrols also a palm that is already enrolled under another number");
    addFrameOptions(*command, options->frames);
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return enrol(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
