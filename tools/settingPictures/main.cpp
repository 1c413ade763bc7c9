// brairu-setting-pictures CONFIG FOLDER [PICTURE...]: draws what each setting does, all pictures or
// those that are named, from runs of the library on rendered frames. The same CONFIG, networks and
// processor give the same pictures.
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <opencv2/core/utils/logger.hpp>
#include <span>

#include "engine/engine.h"
#include "engine/engineProcess.h"
#include "engine/engineSetup.h"
#include "settingPictures/drawings.h"

namespace {

using namespace brairu::tool;

struct Picture {
    const char* name;
    std::string (*draw)(PictureSource&);
    bool startsEngines = false;  // by itself
};

constexpr std::array kPictures{
    Picture{"placementLimits", drawPlacementLimits},
    Picture{"handPlace", drawHandPlace},
    Picture{"handScore", drawHandScore},
    Picture{"palmQuality", drawPalmQuality},
    Picture{"thresholds", drawThresholds},
    Picture{"confirmation", drawConfirmation, true},
    Picture{"enrolment", drawEnrolment},
    Picture{"templates", drawTemplates},
};

void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    file.close();
    if (!file) {
        throw InputFault(path.string() + " cannot be written",
                         "Name a folder that you may write to.");
    }
}

// In a process of its own: an engine keeps its networks and its store for the life of a process.
Ending draw(const Picture& picture, const std::string& config, const std::filesystem::path& folder,
            Report& report) {
    const EngineSetup setup(config, StoreChoice::empty);
    return runEngine(
        [&] {
            PictureSource source{setup.document(), setup.configPath()};
            std::optional<Engine> engine;
            if (!picture.startsEngines) {
                engine.emplace(setup.configPath());
            }
            const std::filesystem::path path = folder / (std::string(picture.name) + ".svg");
            write(path, picture.draw(source));
            report.say(path.string() + ", " +
                       std::to_string(std::filesystem::file_size(path) / 1000) + " kB");
            report.flush();
            return Ending::done;
        },
        report, false);
}

bool isNamed(const Picture& picture, std::span<char*> names) {
    return names.empty() || std::ranges::any_of(names, [&](const char* name) {
               return std::string_view(name) == picture.name;
           });
}

bool areKnown(std::span<char*> names) {
    return std::ranges::all_of(names, [](const char* name) {
        return std::ranges::any_of(kPictures, [&](const Picture& picture) {
            return std::string_view(name) == picture.name;
        });
    });
}

Ending drawAll(const std::string& config, const std::filesystem::path& folder,
               std::span<char*> names, Report& report) {
    for (const Picture& picture : kPictures) {
        if (!isNamed(picture, names)) {
            continue;
        }
        const Ending ending = draw(picture, config, folder, report);
        if (ending != Ending::done) {
            return ending;
        }
    }
    return Ending::done;
}

int usage() {
    std::fputs("usage: brairu-setting-pictures CONFIG FOLDER [PICTURE...]\npictures:", stderr);
    for (const Picture& picture : kPictures) {
        std::fprintf(stderr, " %s", picture.name);
    }
    std::fputs("\n", stderr);
    return static_cast<int>(Ending::inputFault);
}

}  // namespace

int main(int argc, char** argv) {
    const std::span arguments(argv, static_cast<std::size_t>(argc));
    if (arguments.size() < 3 || !areKnown(arguments.subspan(3))) {
        return usage();
    }
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    Report report(Settings{});
    try {
        const Ending ending = drawAll(arguments[1], arguments[2], arguments.subspan(3), report);
        return static_cast<int>(ending);
    } catch (const Fault& fault) {
        report.fail(fault);
        return static_cast<int>(fault.ending());
    }
}
