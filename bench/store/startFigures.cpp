#include "store/startFigures.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "store/shellQuoting.h"

namespace brairu::bench {
namespace {

constexpr double kMostMilliseconds = 100.0;
constexpr double kMostMegabytes = 20.0;
constexpr double kMegabyte = 1e6;

std::string writeConfig(const StoredPalms& palms) {
    ConfigStore config;
    if (!config.load("config/brairu.json")) {
        throw std::runtime_error("cannot read config/brairu.json");
    }
    config.document()["database"].update(palms.config()["database"]);
    std::string path = palms.cache() + ".json";
    std::ofstream(path) << config.document();
    return path;
}

struct PipeClosed {
    void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

// All that the command prints.
std::string outputOf(const std::string& command) {
    const std::unique_ptr<std::FILE, PipeClosed> pipe(::popen(command.c_str(), "r"));
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    std::array<char, 256> piece{};
    while (std::fgets(piece.data(), piece.size(), pipe.get()) != nullptr) {
        output += piece.data();
    }
    return output;
}

nlohmann::json startCost(const StoredPalms& palms) {
    const auto program =
        std::filesystem::read_symlink("/proc/self/exe").replace_filename("brairu-start-cost");
    const std::string command =
        quotedForShell(program.string()) + ' ' + quotedForShell(writeConfig(palms)) + " 2>&1";
    const std::string output = outputOf(command);
    auto cost = nlohmann::json::parse(output, nullptr, false);
    if (cost.is_discarded() || cost["palms"] != palms.palms()) {
        throw std::runtime_error("failed: " + command + "\n" + output);
    }
    return cost;
}

Figure megabytes(const char* title, const nlohmann::json& bytes, double most) {
    return {title, bytes.get<double>() / kMegabyte, "MB", most};
}

}  // namespace

std::vector<Figure> startFigures(const StoredPalms& palms) {
    const nlohmann::json cost = startCost(palms);
    const nlohmann::json& time = cost["milliseconds"];
    const nlohmann::json& memory = cost["bytes"];
    return {
        {"CPU of a start, models", time["models"], "ms", 0.0},
        {"CPU of a start, store", time["store"], "ms", 0.0},
        {"CPU of a start, rest", time["rest"], "ms", kMostMilliseconds},
        megabytes("memory after a start, models", memory["models"], 0.0),
        megabytes("memory after a start, cache", memory["cache"], 0.0),
        megabytes("memory after a start, rest", memory["rest"], kMostMegabytes),
    };
}

}  // namespace brairu::bench
