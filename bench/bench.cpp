// Times the library against what else does its work: brairu-bench RESULTS.json [options of Google
// Benchmark]. Ends with 1 if a goal was missed.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "capture/captureSuite.h"
#include "match/kernels/chosenKernel.h"
#include "report.h"
#include "runner.h"
#include "search/searchSuite.h"
#include "store/storeSuite.h"

namespace brairu::bench {
namespace {

std::string cpuName() {
    const std::string key = "model name\t: ";
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key)) {
            return line.substr(key.size());
        }
    }
    return "unnamed CPU";
}

int run(const std::string& results, const std::vector<std::string>& options) {
    const int core = pinToOneCore();
    Suite suite;
    const std::filesystem::path folder = std::filesystem::absolute(results).parent_path();
    addSearch(suite, folder);
    addStore(suite, folder);
    addCapture(suite);
    std::printf("%s, core %d, searching with %s\n", cpuName().c_str(), core, chosenKernel().name);
    const Times times = timeAll(suite, options);
    writeResults(suite, times, results);
    const int missed = printReport(suite, times);
    std::printf("\n%d goals missed\n", missed);
    return missed == 0 ? 0 : 1;
}

}  // namespace
}  // namespace brairu::bench

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: brairu-bench RESULTS.json [options of Google Benchmark]\n");
        return 2;
    }
    try {
        return brairu::bench::run(argv[1], {argv + 2, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "brairu-bench: %s\n", error.what());
        return 1;
    }
}
