// The long run: brairu-power-cuts [kills] [cuts of the power]
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "kills.h"
#include "powerCuts.h"
#include "support/seededRandom.h"

namespace brairu::test {
namespace {

constexpr int kUsualKills = 4000;
constexpr int kUsualCuts = 6000;
constexpr int kCutsPerHundredMoments = 100;

int countAt(const Tally& tally, const std::string& what) {
    const auto found = tally.at.find(what);
    return found == tally.at.end() ? 0 : found->second;
}

void printRow(const std::string& what, const Tally& kills, const Tally& cuts) {
    std::printf("  %-28s %10d %12d\n", what.c_str(), countAt(kills, what), countAt(cuts, what));
}

std::vector<std::string> moments() {
    std::vector<std::string> names{"start"};
    for (int act = 0; act < kActs; ++act) {
        names.emplace_back(nameOf(static_cast<Act>(act)));
    }
    return names;
}

void printTable(const Tally& kills, const Tally& cuts) {
    std::printf("\n  %-28s %10s %12s\n", "", "kills", "power cuts");
    for (const std::string& moment : moments()) {
        printRow(moment, kills, cuts);
    }
    printRow("between", kills, cuts);
    std::printf("  %-28s %10d %12d\n", "in all", kills.cuts, cuts.cuts);
    std::printf("  %-28s %10d %12d\n", "restarts inspected", kills.restarts, cuts.restarts);
    std::printf("  %-28s %10d %12d\n", "step under way: undone", kills.undone, cuts.undone);
    std::printf("  %-28s %10d %12d\n", "step under way: done", kills.done, cuts.done);
    std::printf("  %-28s %10zu %12zu\n", "faults", kills.faults.size(), cuts.faults.size());
    for (const Tally* tally : {&kills, &cuts}) {
        for (const std::string& fault : tally->faults) {
            std::printf("FAULT: %s\n", fault.c_str());
        }
    }
}

// A short run need not meet every act. A usual one that misses one shows less than it says.
bool hasMissed(const Tally& kills, const Tally& cuts) {
    if (kills.cuts < kUsualKills || cuts.cuts < kUsualCuts) {
        return false;
    }
    bool missed = false;
    for (const std::string& moment : moments()) {
        if (countAt(kills, moment) + countAt(cuts, moment) == 0) {
            std::printf("NEVER CUT: %s\n", moment.c_str());
            missed = true;
        }
    }
    return missed;
}

int run(int kills, int cuts) {
    const auto start = std::chrono::steady_clock::now();
    preferMemory();
    SeededRandom random;
    KillRun killRun(static_cast<std::uint32_t>(random.between(0, 1 << 30)));
    PowerCutRun cutRun(static_cast<std::uint32_t>(random.between(0, 1 << 30)),
                       kCutsPerHundredMoments);
    const Tally& killed = killRun.run(kills);
    const Tally& cut = cutRun.run(cuts);
    printTable(killed, cut);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("  %.0f s\n", seconds.count());
    const bool missed = hasMissed(killed, cut);
    return killed.faults.empty() && cut.faults.empty() && !missed ? 0 : 1;
}

}  // namespace
}  // namespace brairu::test

int main(int argc, char** argv) {
    using namespace brairu::test;
    return run(argc > 1 ? std::atoi(argv[1]) : kUsualKills,
               argc > 2 ? std::atoi(argv[2]) : kUsualCuts);
}
