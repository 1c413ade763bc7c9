#include "commands/models.h"

#include <sodium.h>

#include <CLI/CLI.hpp>

#include <array>
#include <filesystem>

#include "checksum.h"
#include "examination/configExamination.h"
#include "fault.h"
#include "modelPacker/modelContainer.h"
#include "namedFile.h"
#include "npu/modelFile.h"
#include "report/numbers.h"
#include "report/report.h"
#include "report/table.h"

namespace brairu::tool {
namespace {

constexpr int kShownDigits = 16;  // of a checksum

struct Transfer {
    std::string from;
    std::string to;
    bool replaces = false;
};

void startCipher() {
    if (sodium_init() < 0) {
        throw EngineFault("no source of random numbers", "Check /dev/urandom.");
    }
}

void requireReadableFile(const std::string& path) {
    requireReadable(path);
    if (!std::filesystem::is_regular_file(path)) {
        throw InputFault(path + " cannot be read", "Check its name and its rights.");
    }
}

using Act = ContainerFault (*)(const std::string&, const std::string&);

Ending transfer(const Transfer& files, Act act, const char* done, Report& report) {
    startCipher();
    requireReadableFile(files.from);
    if (!files.replaces) {
        requireFree(files.to, kForceAdvice);
    }
    if (const ContainerFault fault = act(files.from, files.to)) {
        throw InputFault(*fault,
                         "Check names, rights and room; a container begins with its nonce "
                         "of 8 bytes.");
    }
    const auto bytes = std::filesystem::file_size(files.to);
    report.say(files.from + " " + done + " " + files.to + ", " + grouped(bytes) + " bytes");
    report.conclude({{"from", files.from}, {"to", files.to}, {"bytes", bytes}});
    return Ending::done;
}

// A container, and what the configuration has it for.
struct NamedContainer {
    std::string use;
    std::string path;
};

std::vector<NamedContainer> configuredContainers(const std::string& configPath) {
    struct Setting {
        const char* use;
        const char* section;
        const char* key;
    };
    constexpr std::array kSettings{
        Setting{"hand pose, description", "handpose", "model_path_net"},
        Setting{"hand pose, weights", "handpose", "model_path_blobs"},
        Setting{"support, description", "feature", "support_model_path_net"},
        Setting{"support, weights", "feature", "support_model_path_blobs"},
        Setting{"feature, description", "feature", "model_path_net"},
        Setting{"feature, weights", "feature", "model_path_blobs"},
    };
    const ConfigDocument config = readSoundConfiguration(configPath);
    std::vector<NamedContainer> containers;
    containers.reserve(kSettings.size());
    for (const Setting& setting : kSettings) {
        containers.push_back(
            {setting.use, config[setting.section][setting.key].get<std::string>()});
    }
    return containers;
}

struct ContainerInfo {
    NamedContainer container;
    std::uint32_t modelBytes = 0;
    std::string checksum;  // of the model: equal for every packing of it
};

ContainerInfo examine(const NamedContainer& container) {
    requireReadableFile(container.path);
    ModelBuffer model;
    if (!readModelFile(container.path, model) || !model.data) {
        throw InputFault(container.path + " is no model container",
                         "A container is made with \"brairu models pack\".");
    }
    return {container, model.size, checksumOf({model.data.get(), model.size})};
}

Ending inform(const std::vector<std::string>& paths, const Settings& settings, Report& report) {
    startCipher();
    std::vector<NamedContainer> containers;
    containers.reserve(paths.size());
    for (const std::string& path : paths) {
        containers.push_back({"", path});
    }
    if (containers.empty()) {
        containers = configuredContainers(settings.configPath);
    }
    Table table{{"container", "model, bytes", "checksum", "used for"}, {}};
    Json list = Json::array();
    for (const NamedContainer& container : containers) {
        const ContainerInfo info = examine(container);
        table.rows.push_back({container.path, grouped(info.modelBytes),
                              info.checksum.substr(0, kShownDigits), container.use});
        list.push_back({{"container", container.path},
                        {"bytes", info.modelBytes},
                        {"blake2b", info.checksum},
                        {"use", container.use}});
    }
    for (const std::string& line : linesOf(table)) {
        report.say(line);
    }
    report.conclude({{"containers", list}});
    return Ending::done;
}

void addTransfer(CLI::App& models, Work& chosen, const char* name, const char* help,
                 const std::array<const char*, 2>& files, Act act, const char* done) {
    const auto options = std::make_shared<Transfer>();
    CLI::App* command = models.add_subcommand(name, help);
    command->add_option(files[0], options->from)->required()->type_name("FILE");
    command->add_option(files[1], options->to)->required()->type_name("FILE");
    command->add_flag("--force", options->replaces, "Replaces a file that is there");
    command->callback([options, act, done, &chosen] {
        chosen = [options, act, done](const Settings&, Report& report) {
            return transfer(*options, act, done, report);
        };
    });
}

void addInfo(CLI::App& models, Work& chosen) {
    const auto paths = std::make_shared<std::vector<std::string>>();
    CLI::App* command = models.add_subcommand(
        "info",
        "Says what is in containers: size and checksum of the model, which is the same for "
        "every packing of it");
    command
        ->add_option("container", *paths,
                     "Those of the configuration, with what they are used for, when none is named")
        ->type_name("FILE");
    command->callback([paths, &chosen] {
        chosen = [paths](const Settings& settings, Report& report) {
            return inform(*paths, settings, report);
        };
    });
}

}  // namespace

void addModels(const CommandLine& line) {
    CLI::App* command =
        line.app.add_subcommand("models", "Makes and opens the containers of the networks");
    command->require_subcommand(1);
    addInfo(*command, line.chosen);
    addTransfer(*command, line.chosen, "pack", "Encrypts a model file into a container",
                {"model", "container"}, packModel, "packed into");
    addTransfer(*command, line.chosen, "unpack", "Decrypts a container into a model file",
                {"container", "model"}, unpackModel, "unpacked into");
}

}  // namespace brairu::tool
