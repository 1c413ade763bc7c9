#include "commands/detect.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <set>

#include "drawing/handPicture.h"
#include "engine/engine.h"
#include "engine/engineProcess.h"
#include "engine/engineSetup.h"
#include "frames/frameOptions.h"
#include "frames/numberedFrames.h"
#include "utils/fileIdentity.h"

namespace brairu::tool {
namespace {

struct DetectOptions {
    FrameOptions frames;
    std::string picture;
};

std::string sizeText(cv::Size size) {
    return std::to_string(size.width) + " x " + std::to_string(size.height);
}

std::string at(int x, int y) {
    return std::to_string(x) + "," + std::to_string(y);
}

const char* palmOf(const PvaHandPose& pose) {
    return pose.orientation == 0 ? "left" : "right";
}

void sayHand(Report& report, const Capture& capture) {
    const PvaHandPose& pose = capture.found;
    report.say("    box " + sizeText({pose.width, pose.height}) + " around " +
               at(pose.centerX, pose.centerY) +
               (capture.hand ? std::string(", a ") + palmOf(pose) +
                                   " palm (the other one if the camera mirrors)"
                             : ""));
    std::string points = "    key points";
    for (const PvaPoint& point : pose.keyPoints) {
        points += " " + at(point.x, point.y);
    }
    report.say(points);
}

Json handJson(const Capture& capture) {
    const PvaHandPose& pose = capture.found;
    Json points = Json::array();
    for (const PvaPoint& point : pose.keyPoints) {
        points.push_back({point.x, point.y});
    }
    Json json{{"centre", {pose.centerX, pose.centerY}},
              {"width", pose.width},
              {"height", pose.height},
              {"keyPoints", points}};
    if (capture.hand) {
        json["palm"] = palmOf(pose);
    }
    return json;
}

// out.png, or out-3.png for the third of several frames.
std::string pictureName(const std::string& name, std::size_t number, bool only) {
    const std::filesystem::path path(name);
    if (only) {
        return name;
    }
    std::filesystem::path numbered = path.parent_path() / path.stem();
    numbered += "-" + std::to_string(number);
    numbered += path.extension();
    return numbered.string();
}

// Where the frames are drawn: never over one of them, by whatever name.
class Pictures {
public:
    // Throws InputFault when a picture would be one of the files of the frames, as far as is known
    // how many frames they hold.
    Pictures(const std::string& name, const FrameSource& frames)
        : name_(name), only_(frames.count() == 1U) {
        if (name_.empty()) {
            return;
        }
        for (const std::string& file : frames.files()) {
            if (const auto frame = fileIdentity(file)) {
                frames_.insert(*frame);
            }
        }
        for (std::size_t number = 1; number <= frames.count().value_or(0); ++number) {
            (void)freeName(number);
        }
    }

    void draw(const FrameLabel& label, const Frame& frame, const Capture& capture) const {
        if (!name_.empty()) {
            drawHand(frame.luma, capture, freeName(label.number));
        }
    }

private:
    std::string freeName(std::size_t number) const {
        const std::string name = pictureName(name_, number, only_);
        const auto there = fileIdentity(name);
        if (there && frames_.contains(*there)) {
            throw InputFault(
                "the picture " + name + (only_ ? " is the frame itself" : " is one of the frames"),
                "Name another file with --draw.");
        }
        return name;
    }

    std::string name_;
    bool only_;
    std::set<FileIdentity> frames_;
};

class Detection {
public:
    Detection(ConfigDocument config, Report& report)
        : config_(std::move(config)),
          threshold_(readFloat(config_, "handpose", "model_probability_threshold")),
          report_(report) {}

    Capture look(const FrameLabel& label, const Frame& frame) {
        const Capture capture = captureFrom(frame.luma);
        const Explanation explanation =
            explain(frame.luma, capture, config_, handScore(frame.luma, threshold_));
        good_ += capture.isGood() ? 1 : 0;
        say(label, frame, capture, explanation);
        add(label, frame, capture, explanation);
        return capture;
    }

    Ending conclude(std::size_t frames) {
        if (frames > 1) {
            report_.say(std::to_string(good_) + " of " + std::to_string(frames) +
                        " frames are good");
        }
        report_.conclude({{"frames", frames_}, {"good", good_}});
        return good_ == frames ? Ending::done : Ending::no;
    }

private:
    void say(const FrameLabel& label, const Frame& frame, const Capture& capture,
             const Explanation& explanation) {
        report_.say(textOf(label) + ", " + sizeText(frame.luma.size()) + ": " +
                    (capture.isGood() ? "good" : refusalOf(explanation)));
        if (capture.candidate) {
            sayHand(report_, capture);
        }
        sayMeasures(report_, explanation.measures);
    }

    void add(const FrameLabel& label, const Frame& frame, const Capture& capture,
             const Explanation& explanation) {
        Json json = jsonOf(label, explanation);
        json["width"] = frame.luma.cols;
        json["height"] = frame.luma.rows;
        if (capture.hand) {
            json["code"] = capture.code;
        }
        if (capture.candidate) {
            json["hand"] = handJson(capture);
        }
        json["measures"] = jsonOf(explanation.measures);
        frames_.push_back(json);
    }

    ConfigDocument config_;
    float threshold_;
    Report& report_;
    Json frames_ = Json::array();
    std::size_t good_ = 0;
};

Ending detect(const DetectOptions& options, const Settings& settings, Report& report) {
    const std::unique_ptr<FrameSource> frames = openFrames(options.frames);
    const Pictures pictures(options.picture, *frames);
    const EngineSetup setup(settings.configPath, StoreChoice::empty);
    const auto work = [&] {
        const Engine engine(setup.configPath());
        Detection detection(setup.document(), report);
        return detection.conclude(
            visitFrames(*frames, report, [&](const FrameLabel& label, const Frame& frame) {
                pictures.draw(label, frame, detection.look(label, frame));
                return true;
            }));
    };
    return runEngine(work, report, settings.verbose);
}

}  // namespace

void addDetect(const CommandLine& line) {
    const auto options = std::make_shared<DetectOptions>();
    CLI::App* command = line.app.add_subcommand(
        "detect", "Shows what the engine sees in frames, and why it refuses them");
    addFrameOptions(*command, options->frames);
    command
        ->add_option("--draw", options->picture,
                     "Draws box and key points to this picture file; of several frames, each to "
                     "a file with its number")
        ->type_name("FILE");
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return detect(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
