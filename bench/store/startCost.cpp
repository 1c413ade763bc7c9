// What a start of the engine costs in a process of its own: brairu-start-cost CONFIGURATION prints
// CPU milliseconds and resident bytes as JSON, each split into models, store or cache, and the rest.
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "config/configStore.h"
#include "handPose.h"
#include "silence.h"
#include "store/templateStore.h"

namespace brairu::bench {
namespace {

struct Cost {
    double milliseconds = 0.0;
    double bytes = 0.0;
};

Cost operator-(const Cost& later, const Cost& earlier) {
    return {later.milliseconds - earlier.milliseconds, later.bytes - earlier.bytes};
}

double residentBytes() {
    std::ifstream file("/proc/self/statm");
    double total = 0.0;
    double resident = 0.0;
    file >> total >> resident;
    return resident * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

// Since the process began.
Cost costSoFar() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return {static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6,
            residentBytes()};
}

// The resident bytes of the mapping of a file.
double residentBytesOf(const std::string& path) {
    const std::string key = "Rss:";
    std::ifstream file("/proc/self/smaps");
    bool found = false;
    for (std::string line; std::getline(file, line);) {
        found = found || line.ends_with(path);
        if (found && line.starts_with(key)) {
            constexpr double kKibibyte = 1024.0;
            return std::stod(line.substr(key.size())) * kKibibyte;
        }
    }
    throw std::runtime_error("not mapped: " + path);
}

nlohmann::json start(const char* path) {
    const Silence silence;
    ConfigStore config;
    if (!config.load(path)) {
        throw std::runtime_error(std::string("cannot read ") + path);
    }
    const Cost atFirst = costSoFar();
    const HandPose detector(config.document());
    const Cost withModels = costSoFar();
    TemplateStore store(config.document());
    store.runStartupPass();
    const Cost all = costSoFar();
    const Cost models = withModels - atFirst;
    const double cache =
        residentBytesOf(readText(config.document(), "database", "search_index_path"));
    const double storeTime = (all - withModels).milliseconds;
    return {
        {"milliseconds",
         {{"models", models.milliseconds},
          {"store", storeTime},
          {"rest", all.milliseconds - models.milliseconds - storeTime}}},
        {"bytes",
         {{"models", models.bytes}, {"cache", cache}, {"rest", all.bytes - models.bytes - cache}}},
        {"palms", store.palmCount()}};
}

}  // namespace
}  // namespace brairu::bench

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: brairu-start-cost CONFIGURATION\n");
        return 2;
    }
    try {
        std::cout << brairu::bench::start(argv[1]) << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "brairu-start-cost: %s\n", error.what());
        return 1;
    }
}
