#include "commands/watch.h"

#include <CLI/CLI.hpp>

#include <filesystem>

#include "commands/optionChecks.h"
#include "engine/engine.h"
#include "engine/engineProcess.h"
#include "engine/engineSetup.h"
#include "engine/enrolledPalms.h"
#include "fault.h"
#include "frames/camera.h"
#include "frames/frameFile.h"
#include "frames/frameOptions.h"
#include "frames/growingFolder.h"
#include "frames/stopSignals.h"
#include "frames/video.h"
#include "matching/recognition.h"
#include "namedFile.h"
#include "report/frameReport.h"

namespace brairu::tool {
namespace {

struct WatchOptions {
    std::string source;
    FrameOptions frames;  // the size alone
    double idleSeconds = 0.0;
    bool once = false;
    bool learn = false;
};

constexpr char kNoHand[] = "no_hand";

// Tells each change once: guidance while a hand is held wrong, who it is, that it is gone.
class DoorLoop {
public:
    DoorLoop(ConfigDocument config, Report& report) : config_(std::move(config)), report_(report) {}

    // Whether a palm was recognised in this frame.
    bool look(const FrameLabel& label, const Frame& frame) {
        const Capture capture = captureFrom(frame.luma);
        if (!capture.isGood()) {
            guide(label, explain(frame.luma, capture, config_));
            return false;
        }
        // Whoever was let in has to take the hand away first.
        return !isRecognised_ && identify(label, capture.features);
    }

    void tellUnreadable(const Fault& fault) {
        report_.event(std::string("passed over: ") + fault.what(),
                      {{"event", "unreadable"}, {"message", fault.what()}});
    }

    bool hasRecognised() const { return recognised_ > 0; }

private:
    void guide(const FrameLabel& label, const Explanation& explanation) {
        const bool gone = explanation.words.id == std::string_view(kNoHand);
        isRecognised_ = isRecognised_ && !gone;
        if (!isNews(explanation.words.id)) {
            return;
        }
        Json json{{"event", gone ? "no_hand" : "guidance"}};
        json.update(jsonOf(label, explanation));
        report_.event(gone ? "waiting for a hand"
                           : std::string(explanation.words.advice) + " (" + explanation.words.what +
                                 reasonsOf(explanation) + ")",
                      json);
    }

    static std::string reasonsOf(const Explanation& explanation) {
        std::string text;
        for (const Measure& reason : explanation.reasons) {
            text += ": " + described(reason);
        }
        return text;
    }

    bool identify(const FrameLabel& label, const Features& features) {
        const Recognition recognition = recognise(features);
        isRecognised_ = recognition.kind == Recognition::Kind::recognised;
        recognised_ += isRecognised_ ? 1 : 0;
        const Json outcome = jsonOf(recognition);
        if (isNews(outcome["result"]) || isRecognised_) {
            Json json{
                {"event", outcome["result"]}, {"frame", label.name}, {"number", label.number}};
            json.update(outcome);
            report_.event((isRecognised_ ? "recognised: " : "") + textOf(recognition), json);
        }
        return isRecognised_;
    }

    bool isNews(const std::string& state) { return std::exchange(state_, state) != state; }

    ConfigDocument config_;
    Report& report_;
    std::string state_;
    bool isRecognised_ = false;
    long long recognised_ = 0;
};

std::unique_ptr<FrameSource> openFolder(const WatchOptions& options) {
    const auto idle = std::chrono::milliseconds(static_cast<long long>(options.idleSeconds * 1000));
    return std::make_unique<GrowingFolder>(options.source, options.frames.rawSize(), idle,
                                           isStopped);
}

void requireVideo(const std::string& source) {
    requireReadable(source);
    if (isPictureName(source) || isRawName(source)) {
        throw InputFault(source + " is a single frame",
                         "\"brairu identify\" takes frames; this command takes a camera, or a "
                         "folder that fills up.");
    }
}

std::unique_ptr<FrameSource> openSource(const WatchOptions& options) {
    const std::string& source = options.source;
    std::error_code ignored;
    if (std::filesystem::is_directory(source, ignored)) {
        requireReadable(source);
        return openFolder(options);
    }
    if (namesCamera(source)) {
        return openCamera(source, options.frames.rawSize(), isStopped);
    }
    requireVideo(source);
    return openVideo(source);
}

// False at the end of the frames. A frame that cannot be read is passed over.
bool lookAtNext(FrameSource& frames, DoorLoop& loop, std::size_t number, bool& recognised) {
    try {
        const std::optional<Frame> frame = frames.next();
        recognised = frame && loop.look({number, frame->name}, *frame);
        return frame.has_value();
    } catch (const InputFault& fault) {
        loop.tellUnreadable(fault);
        return true;
    }
}

Ending watchWithEngine(const WatchOptions& options, const EngineSetup& setup, Report& report) {
    stopOnSignals();
    const std::unique_ptr<FrameSource> frames = openSource(options);
    const Engine engine(setup.configPath());
    requireEnrolledPalms(setup.userDatabasePath());
    DoorLoop loop(setup.document(), report);
    bool recognised = false;
    for (std::size_t number = 1; !isStopped() && !(recognised && options.once); ++number) {
        if (!lookAtNext(*frames, loop, number, recognised)) {
            break;
        }
    }
    return loop.hasRecognised() ? Ending::done : Ending::no;
}

Ending watch(const WatchOptions& options, const Settings& settings, Report& report) {
    (void)options.frames.rawSize();
    const EngineSetup setup(settings.configPath,
                            options.learn ? StoreChoice::real : StoreChoice::snapshot);
    const auto work = [&] { return watchWithEngine(options, setup, report); };
    return runEngine(work, report, settings.verbose);
}

std::string sourceHelp() {
    return "A folder that fills up with pictures or raw planes; a video (where ffmpeg is "
           "installed)" +
           cameraHelp("; or a camera");
}

}  // namespace

void addWatch(const CommandLine& line) {
    const auto options = std::make_shared<WatchOptions>();
    CLI::App* command = line.app.add_subcommand(
        "watch",
        "The loop of a door: guides the hand, recognises it, says who it is. Works on a copy "
        "of the store as it is now. Ends well when somebody was recognised");
    command->add_option("source", options->source, sourceHelp())->required()->type_name("SOURCE");
    addSizeOption(*command, options->frames);
    command->add_flag("--once", options->once, "Ends when somebody is recognised");
    command
        ->add_option("--idle", options->idleSeconds,
                     "Ends when a folder got no new frame for so many seconds")
        ->check(faultOfSeconds)
        ->type_name("SECONDS");
    command->add_flag("--learn", options->learn,
                      "Works on the store itself, whose templates learn from what it recognises");
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return watch(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
