#include "commands/palms.h"

#include <CLI/CLI.hpp>

#include <map>

#include "fault.h"
#include "frames/frameFile.h"
#include "namedFile.h"
#include "renderer/frameSize.h"
#include "renderer/palmAlbum.h"
#include "report/numbers.h"
#include "report/report.h"

namespace brairu::tool {
namespace {

constexpr int kMost = 1'000'000;
constexpr char kFreeFolder[] = "Name a new folder, or give --force to replace what is there.";

struct RenderOptions {
    AlbumOptions album;
    std::string size = "640x480";
    bool replaces = false;
};

cv::Size sizeToDraw(const std::string& text) {
    const cv::Size size = sizeFrom(text);
    if (!isDrawable(size)) {
        throw InputFault("frames of " + text + " are too small to draw a palm in",
                         "Give at least " + std::to_string(kLeastFrameSide) + "x" +
                             std::to_string(kLeastFrameSide) + ", like 640x480.");
    }
    return size;
}

Ending render(const RenderOptions& options, Report& report) {
    AlbumOptions album = options.album;
    album.size = sizeToDraw(options.size);
    if (!options.replaces) {
        visitAlbumFiles(album, [](const auto& path) { requireFree(path, kFreeFolder); });
    }
    int drawn = 0;
    const auto progress = [&](int frame, int frames) {
        drawn = frame;
        report.progress("frame " + std::to_string(frame) + " of " + std::to_string(frames));
    };
    try {
        drawAlbum(album, progress);
    } catch (const std::runtime_error& fault) {
        throw InputFault(fault.what(), "Name a folder that you may write to, on a disk with room.");
    }
    report.say(counted(drawn, "frame") + " and index.csv are in " + album.folder.string());
    report.conclude({{"folder", album.folder.string()}, {"frames", drawn}});
    return Ending::done;
}

void addRender(CLI::App& palms, Work& chosen) {
    const auto options = std::make_shared<RenderOptions>();
    CLI::App* command = palms.add_subcommand(
        "render", "Draws near-infrared frames of palms, and index.csv with what is true of each");
    AlbumOptions& album = options->album;
    const auto count = [&](const char* name, int& value, const char* help) {
        command->add_option(name, value, help)
            ->check(CLI::Range(0, kMost))
            ->capture_default_str()
            ->type_name("N");
    };
    command->add_option("folder", album.folder, "Where the frames go")
        ->required()
        ->type_name("FOLDER");
    count("--people", album.people, "People, each with both palms");
    count("--captures", album.captures, "Captures of each palm");
    count("--empty", album.empty, "Frames without an open palm");
    command->add_option("--seed", album.seed, "Other seeds are other people")
        ->capture_default_str()
        ->type_name("N");
    static const std::map<std::string, Scenario> kScenarios{{"enrolment", Scenario::enrolment},
                                                            {"hard", Scenario::hard},
                                                            {"anywhere", Scenario::anywhere}};
    command->add_option("--scenario", album.scenario, "enrolment, hard or anywhere")
        ->transform(CLI::CheckedTransformer(kScenarios).description(""))
        ->default_str("enrolment")
        ->type_name("NAME");
    command->add_option("--size", options->size, "Size of the frames")
        ->capture_default_str()
        ->type_name("WxH");
    command->add_option("--format", album.format, "png, or raw bytes of grey")
        ->check(CLI::IsMember({"png", "raw"}))
        ->capture_default_str()
        ->type_name("NAME");
    command->add_flag("--force", options->replaces, "Replaces files that are there");
    command->callback([options, &chosen] {
        chosen = [options](const Settings&, Report& report) { return render(*options, report); };
    });
}

}  // namespace

void addPalms(const CommandLine& line) {
    CLI::App* command = line.app.add_subcommand("palms", "Draws palms of people who do not exist");
    command->require_subcommand(1);
    addRender(*command, line.chosen);
}

}  // namespace brairu::tool
