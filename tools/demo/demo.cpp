// brairu-demo: enrols people from rendered camera frames, recognises them, turns strangers away,
// starts again in a new process, and shows it all in one table and one picture sheet. Uses nothing
// but the exported calls.
#include <cstdio>
#include <exception>
#include <string>

#include "contactSheet.h"
#include "demoReport.h"
#include "demoSteps.h"
#include "engineProcess.h"

namespace {

constexpr char kUsage[] =
    "usage: brairu-demo CONFIG FOLDER\n"
    "FOLDER is emptied; it must be new, or that of an earlier demonstration.\n";

// The child's side: one phase, in a process of its own.
int runInChild(const std::string& phase, const demo::DemoFiles& files) {
    std::FILE* progress = demo::divertEngineOutput(files);
    try {
        return demo::runSteps(phase, files, progress) ? 0 : 1;
    } catch (const std::exception& fault) {
        std::fprintf(progress, "brairu-demo: %s\n", fault.what());
        std::fflush(progress);
        return 1;
    }
}

int runDemo(const std::string& config, const demo::DemoFiles& files) {
    demo::prepareFolder(files, config);
    demo::DemoReport report;
    for (const std::string phase : {demo::kFirstPhase, demo::kSecondPhase}) {
        std::printf("%s\n", phase.c_str());
        std::fflush(stdout);
        if (demo::runPhase("/proc/self/exe", phase, files) != 0) {
            std::fprintf(stderr, "brairu-demo: the engine failed; see %s\n",
                         files.engineLog().c_str());
            return 1;
        }
        report.append(demo::readReport(files.report(phase)));
    }
    if (!demo::writeSheet(report.tiles, files.sheet())) {
        std::fprintf(stderr, "brairu-demo: cannot write %s\n", files.sheet().c_str());
        return 1;
    }
    demo::printTable(report);
    std::printf("picture sheet: %s\n", files.sheet().c_str());
    return demo::isPassed(report) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::string first = argv[1];
    const demo::DemoFiles files{argv[2]};
    if (first == demo::kFirstPhase || first == demo::kSecondPhase) {
        return runInChild(first, files);
    }
    try {
        return runDemo(first, files);
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "brairu-demo: %s\n", fault.what());
        return 1;
    }
}
