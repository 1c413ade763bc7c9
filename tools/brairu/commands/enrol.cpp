#include "commands/enrol.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <utility>

#include "commands/optionChecks.h"
#include "engine/engine.h"
#include "engine/engineProcess.h"
#include "engine/engineSetup.h"
#include "engine/enrolledPalms.h"
#include "frames/camera.h"
#include "frames/frameFile.h"
#include "frames/frameOptions.h"
#include "frames/numberedFrames.h"
#include "frames/patience.h"
#include "frames/stopSignals.h"
#include "match/registration.h"
#include "matching/candidates.h"

namespace brairu::tool {
namespace {

struct EnrolOptions {
    FrameOptions frames;
    std::int64_t user = 0;
    std::int32_t palm = 0;
    bool allowDuplicate = false;
    double idleSeconds = 60.0;
    bool atCamera = false;
};

constexpr char kMoveHand[] =
    "Move the hand a little between captures: closer, further, or turned slightly.";

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
          atCamera_(options.atCamera),
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
            tell(label, refusalOf(explanation), tool::jsonOf(label, explanation));
        }
        return result_.status == PVA_REGISTER_MORE;
    }

    std::size_t captures() const { return taken_.size(); }

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
    // What became of a frame. A camera shows the same again and again: it is told once.
    void tell(const FrameLabel& label, const std::string& text, const Json& json) {
        const auto result = json["result"].get<std::string>();
        if (std::exchange(told_, result) != result || !atCamera_ || result == kTaken) {
            report_.say(tool::textOf(label) + ": " + text);
            frames_.push_back(json);
        }
    }

    void offer(const FrameLabel& label, const Features& features) {
        const int before = result_.count;
        pvaRegister(&key_, features.data(), checkDuplicate_, &result_);
        if (result_.count == before && result_.status == PVA_REGISTER_MORE) {
            refuse(label, features);
        } else {
            taken_.push_back(features);
            const std::string message = "capture " + std::to_string(taken_.size()) + " of " +
                                        std::to_string(result_.maxCount);
            tell(label, message, jsonOf(label, kTaken, message));
        }
    }

    void refuse(const FrameLabel& label, const Features& features) {
        const std::string message =
            "too much like an earlier capture of this enrolment: " + described(likeness(features));
        Json json = jsonOf(label, "too_similar", message);
        json["advice"] = kMoveHand;
        tell(label, "refused, " + message + ". " + kMoveHand, json);
    }

    // Of the earlier capture that is most alike.
    Measure likeness(const Features& features) {
        float most = -1.0f;
        for (const Features& earlier : taken_) {
            most = std::max(most, compareCaptures(features.data(), earlier.data())[0]);
        }
        const float cap = dynamicSimilarityCap(detectionLevel(config_));
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
        return {Ending::no, "too_few_captures",
                textOf(key_) + " is not enrolled: " + std::to_string(captures()) + " of " +
                    std::to_string(result_.maxCount) + " captures were taken",
                atCamera_ ? std::string("Run the command again. ") + kMoveHand : moreFrames()};
    }

    std::string moreFrames() const {
        const auto missing = static_cast<std::size_t>(result_.maxCount) - captures();
        return "Give all frames again with at least " + std::to_string(missing) +
               " more good ones, in which the hand has moved a little.";
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

    static constexpr char kTaken[] = "taken";

    ConfigDocument config_;
    std::string databasePath_;
    int checkDuplicate_;
    bool atCamera_;
    Report& report_;
    PvaUserKey key_{};
    PvaRegisterResult result_{};
    std::vector<Features> taken_;
    std::string told_;
    Json frames_ = Json::array();
};

Ending enrolWithEngine(const EnrolOptions& options, const EngineSetup& setup, FrameSource& frames,
                       Patience& patience, Report& report) {
    const Engine engine(setup.configPath());
    if (!isThere(setup.databasePath())) {
        throw EngineFault("the engine could not make the database " + setup.databasePath(),
                          "Run \"brairu doctor\": it looks at the store and its folder.");
    }
    Enrolment enrolment(setup, options, report);
    if (enrolment.isEnrolledAlready()) {
        return enrolment.conclude(enrolment.alreadyThere());
    }
    patience.renew();
    visitFrames(frames, report, [&](const FrameLabel& label, const Frame& frame) {
        const bool wantsMore = enrolment.take(label, frame);
        patience.look(enrolment.captures());
        return wantsMore;
    });
    return enrolment.conclude(enrolment.outcome());
}

// A camera is opened by the engine's process, which reads it.
std::unique_ptr<FrameSource> openItsCamera(const EnrolOptions& options, const Patience& patience) {
    stopOnSignals();
    return openCamera(options.frames.paths[0], options.frames.rawSize(),
                      [&patience] { return isStopped() || patience.isOver(); });
}

bool isAtCamera(const std::vector<std::string>& frames) {
    const auto camera = std::ranges::find_if(frames, namesCamera);
    if (camera == frames.end()) {
        return false;
    }
    if (frames.size() > 1) {
        throw InputFault("the camera " + *camera + " is named beside other frames",
                         "Give the camera alone, or frames alone.");
    }
    return true;
}

Ending enrol(EnrolOptions options, const Settings& settings, Report& report) {
    options.atCamera = isAtCamera(options.frames.paths);
    const std::unique_ptr<FrameSource> frames =
        options.atCamera ? nullptr : openFrames(options.frames);
    const EngineSetup setup(settings.configPath, StoreChoice::real);
    requireWritableStore(setup.databasePath());
    const auto work = [&] {
        Patience patience(options.idleSeconds);
        const std::unique_ptr<FrameSource> camera =
            options.atCamera ? openItsCamera(options, patience) : nullptr;
        return enrolWithEngine(options, setup, camera ? *camera : *frames, patience, report);
    };
    return runEngine(work, report, settings.verbose);
}

}  // namespace

void addEnrol(const CommandLine& line) {
    const auto options = std::make_shared<EnrolOptions>();
    CLI::App* command = line.app.add_subcommand(
        "enrol",
        "Enrols a palm from frames in which the hand moves a little, or before a camera; stops at "
        "the last capture it needs");
    command->add_option("--user", options->user, "Number of the user")
        ->required()
        ->check(faultOfUserNumber)
        ->type_name("U");
    command->add_option("--palm", options->palm, "Number of this palm of the user, 0 or 1 say")
        ->required()
        ->type_name("P");
    command->add_flag("--allow-duplicate", options->allowDuplicate,
                      "Enrols also a palm that is already enrolled under another number");
    command
        ->add_option("--idle", options->idleSeconds,
                     "Gives up when a camera brought no further capture for so many seconds")
        ->check(faultOfSeconds)
        ->capture_default_str()
        ->type_name("SECONDS");
    addFrameOptions(*command, options->frames, cameraHelp("; or a camera alone"));
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return enrol(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
