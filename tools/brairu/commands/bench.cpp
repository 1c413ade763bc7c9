#include "commands/bench.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>

#include "engine/capture.h"
#include "engine/engine.h"
#include "engine/engineProcess.h"
#include "engine/engineSetup.h"
#include "frames/frameFile.h"
#include "renderer/palmRenderer.h"
#include "renderer/random.h"
#include "report/numbers.h"
#include "report/report.h"
#include "report/table.h"
#include "store/palmTemplate.h"
#include "timing/callTimes.h"

namespace brairu::tool {
namespace {

constexpr std::uint64_t kSeed = 0xbe7c4;
constexpr int kMostAttempts = 8;

struct BenchOptions {
    std::string frame;
    std::string size;
    int runs = 30;
    std::vector<int> galleries{100, 1000};
};

using Template = std::array<std::uint8_t, kTemplateBytes>;

// Blocks as even as noise: near to no palm.
Template randomTemplate(Random& random) {
    Template bytes{};
    for (std::size_t i = 0; i < kFeatureBytes; ++i) {
        bytes[i] = static_cast<std::uint8_t>(random.below(256));
    }
    return bytes;
}

class Bench {
public:
    Bench(const BenchOptions& options, Report& report) : options_(options), report_(report) {}

    // luma: of a good capture.
    void timeCapture(const cv::Mat& luma) {
        const auto width = static_cast<std::uint32_t>(luma.cols);
        const auto height = static_cast<std::uint32_t>(luma.rows);
        PvaHandPose found{};
        add(timed("find the hand (pvaGetHandPose)", options_.runs, [&] {
            found = {};
            pvaGetHandPose(luma.data, width, height, &found);
        }));
        add(timed("features (pvaGetFeat)", options_.runs, [&] {
            PvaHandPose pose = found;
            pvaGetFeat(luma.data, width, height, &pose, features_.data());
        }));
        add(timed("both: one capture", options_.runs, [&] { captureFrom(luma); }));
        PvaAuthResult result{};
        add(timed("verify (pvaGet1to1AuthRes)", options_.runs,
                  [&] { pvaGet1to1AuthRes(features_.data(), features_.data(), &result); }));
    }

    // Enrols strangers up to this many palms, and searches them for the capture.
    void timeSearch(int palms) {
        for (; enrolled_ < palms; ++enrolled_) {
            report_.progress("enrolling palm " + std::to_string(enrolled_ + 1) + " of " +
                             std::to_string(palms));
            const PvaUserKey key{enrolled_, 0, {}};
            const Template stranger = randomTemplate(random_);
            pvaDataBaseAddUserWithFeatSize(&key, stranger.data(), kTemplateBytes);
        }
        requireStored();
        PvaAuthResult result{};
        add(timed(
            "search " + grouped(static_cast<unsigned long long>(palms)) + " palms (pvaGetAuthRes)",
            options_.runs, [&] { pvaGetAuthRes(features_.data(), &result); }));
    }

    void addStart(const CallTimes& start) { add(start); }

    Ending conclude() {
        report_.conclude({{"runs", options_.runs}, {"calls", list_}});
        for (const std::string& line : linesOf(table_)) {
            report_.say(line);
        }
        return Ending::done;
    }

private:
    // Not every add tells when the store refuses.
    void requireStored() const {
        const int stored = pvaDataBaseGetAllPalmCount();
        if (stored != enrolled_) {
            throw EngineFault(
                "the store took " + std::to_string(stored) + " of " + counted(enrolled_, "palm"),
                "Make room in the folder for temporary files, or name another in "
                "the environment variable TMPDIR.");
        }
    }

    void add(const CallTimes& times) {
        table_.rows.push_back({times.call, inBrief(times.median()), inBrief(times.slowest())});
        list_.push_back({{"call", times.call},
                         {"runs", times.milliseconds.size()},
                         {"medianMs", times.median()},
                         {"slowestMs", times.slowest()}});
    }

    const BenchOptions& options_;
    Report& report_;
    Features features_{};
    Random random_{kSeed};
    int enrolled_ = 0;
    Table table_{{"", "median, ms", "slowest, ms"}, {}};
    Json list_ = Json::array();
};

// A rendered frame whose palm the engine takes.
cv::Mat renderedFrame() {
    const PalmIdentity palm = identityOf(kSeed, 1, Hand::left);
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const CaptureConditions conditions = captureOf(kSeed, palm, attempt, Scenario::enrolment);
        cv::Mat luma = render(palm, conditions, {640, 480}).luma;
        if (captureFrom(luma).isGood()) {
            return luma;
        }
    }
    throw Fault(Ending::no, "every rendered frame is refused",
                "Give a frame of your own, one that \"brairu detect\" finds good.");
}

cv::Mat ownFrame(const BenchOptions& options) {
    const auto size = options.size.empty() ? std::nullopt : std::optional(sizeFrom(options.size));
    cv::Mat luma = readFrame(options.frame, size).luma;
    if (!captureFrom(luma).isGood()) {
        throw Fault(Ending::no, options.frame + " is refused",
                    "Ask \"brairu detect\" why, and give a good one.");
    }
    return luma;
}

Ending bench(const BenchOptions& options, const Settings& settings, Report& report) {
    const EngineSetup setup(settings.configPath, StoreChoice::empty);
    const auto work = [&] {
        Bench bench(options, report);
        std::unique_ptr<Engine> engine;
        bench.addStart(timed("start (init_pva), empty store", 1,
                             [&] { engine = std::make_unique<Engine>(setup.configPath()); }));
        bench.timeCapture(options.frame.empty() ? renderedFrame() : ownFrame(options));
        std::vector<int> galleries = options.galleries;
        std::ranges::sort(galleries);
        for (const int palms : galleries) {
            bench.timeSearch(palms);
        }
        return bench.conclude();
    };
    return runEngine(work, report, settings.verbose);
}

}  // namespace

void addBench(const CommandLine& line) {
    const auto options = std::make_shared<BenchOptions>();
    CLI::App* command = line.app.add_subcommand(
        "bench",
        "Times a start, a capture and searches on this machine, on a store of its own; by the "
        "clock on the wall, so let nothing else run");
    command
        ->add_option("frame", options->frame,
                     "A good frame of a palm, or a raw plane with --size; a rendered one of 640 x "
                     "480 unless given")
        ->type_name("FRAME");
    command->add_option("--size", options->size, "Size of a raw plane, like 640x480")
        ->type_name("WxH");
    command->add_option("--runs", options->runs, "Runs of each call")
        ->check(CLI::Range(1, 100'000))
        ->capture_default_str()
        ->type_name("N");
    command->add_option("--gallery", options->galleries, "Palms to search; may be given repeatedly")
        ->check(CLI::Range(1, static_cast<int>(kMirroredPalms)))
        ->capture_default_str()
        ->type_name("PALMS");
    command->callback([options, &chosen = line.chosen] {
        chosen = [options](const Settings& settings, Report& report) {
            return bench(*options, settings, report);
        };
    });
}

}  // namespace brairu::tool
