// Calls everything for a long time: every result is checked, and what the process holds stays level.
//
//   brairu_soak [CALLS]
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "soak/resources.h"
#include "soak/visitor.h"

namespace brairu::test {
namespace {

constexpr long kUsualCalls = 200'000;
constexpr long kCheckpoints = 10;
constexpr long kWarmUpCalls = 4'000;

void printHead() {
    std::fprintf(Logbook::paper(), "%10s %10s %12s %6s %6s %6s %6s %6s  %s\n", "calls", "RSS KiB",
                 "heap bytes", "files", "maps", "stmts", "conns", "NPU", "drift");
}

void printRow(long calls, const Resources& now, const std::string& drifted) {
    std::fprintf(Logbook::paper(), "%10ld %10ld %12ld %6ld %6ld %6ld %6ld %6ld  %s\n", calls,
                 static_cast<long>(now.residentKiB), static_cast<long>(now.heapBytes),
                 static_cast<long>(now.descriptors), static_cast<long>(now.mappings),
                 static_cast<long>(now.statements), static_cast<long>(now.connections),
                 static_cast<long>(now.npuHandles), drifted.c_str());
    std::fflush(Logbook::paper());
}

void actUntil(Visitor& visitor, long calls) {
    while (visitor.logbook().calls() < calls) {
        visitor.act();
    }
    visitor.tidyUp();
}

// The checkpoints at which something had drifted.
long soak(Visitor& visitor, long calls) {
    printHead();
    actUntil(visitor, kWarmUpCalls);
    const Resources warm = resourcesNow();
    printRow(visitor.logbook().calls(), warm, "(warm)");
    long drifts = 0;
    for (long checkpoint = 1; checkpoint <= kCheckpoints; ++checkpoint) {
        actUntil(visitor, kWarmUpCalls + (calls - kWarmUpCalls) * checkpoint / kCheckpoints);
        const Resources now = resourcesNow();
        const std::string drifted = drift(warm, now);
        drifts += !drifted.empty();
        printRow(visitor.logbook().calls(), now, drifted);
    }
    return drifts;
}

int run(SeededRandom& random, long calls) {
    const auto start = std::chrono::steady_clock::now();
    Visitor visitor(random);
    const long drifts = soak(visitor, calls);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::FILE* const paper = Logbook::paper();
    std::fputc('\n', paper);
    visitor.logbook().print(paper);
    std::fprintf(paper, "\n%.1f s; wrong results: %ld; checkpoints with drift: %ld\n",
                 seconds.count(), visitor.logbook().wrong(), drifts);
    std::fflush(paper);
    return visitor.logbook().wrong() == 0 && drifts == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

// The engine talks a lot on both streams.
void silenceStreams() {
    std::fflush(stdout);
    Logbook::paper();
    if (std::freopen("/dev/null", "w", stdout) == nullptr ||
        std::freopen("/dev/null", "w", stderr) == nullptr) {
        std::exit(EXIT_FAILURE);
    }
}

// What the allocator's thread cache keeps counts as handed out: a process without one can be told to
// the byte.
void restartWithoutThreadCache(char** argv) {
    constexpr char kTunables[] = "GLIBC_TUNABLES";
    if (std::getenv(kTunables) == nullptr) {
        ::setenv(kTunables, "glibc.malloc.tcache_count=0", 1);
        ::execv("/proc/self/exe", argv);
    }
}

}  // namespace
}  // namespace brairu::test

int main(int argc, char** argv) {
    using namespace brairu::test;
    restartWithoutThreadCache(argv);
    const long wanted = argc > 1 ? std::strtol(argv[1], nullptr, 10) : kUsualCalls;
    SeededRandom random;
    silenceStreams();
    return run(random, std::max(wanted, 2 * kWarmUpCalls));
}
