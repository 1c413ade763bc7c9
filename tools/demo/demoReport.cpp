#include "demoReport.h"

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "engineProcess.h"

namespace demo {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(StepReport, name, genuine, attempts, captures, hits, misses,
                                   falseAccepts)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Timing, calls, milliseconds)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DemoReport, steps, codes, timings, tiles)

namespace {

constexpr double kRecognisedShare = 0.99;

struct GenuineAttempts {
    int attempts = 0;
    int hits = 0;
};

GenuineAttempts genuineAttempts(const DemoReport& report) {
    GenuineAttempts sum;
    for (const StepReport& step : report.steps) {
        if (step.genuine) {
            sum.attempts += step.attempts;
            sum.hits += step.hits;
        }
    }
    return sum;
}

int falseAccepts(const DemoReport& report) {
    int sum = 0;
    for (const StepReport& step : report.steps) {
        sum += step.falseAccepts;
    }
    return sum;
}

void printSteps(const DemoReport& report) {
    std::printf("\n%-38s %9s %9s %6s %7s %14s\n", "step", "attempts", "captures", "hits", "misses",
                "false accepts");
    for (const StepReport& step : report.steps) {
        std::printf("%-38s %9d %9d %6d %7d %14d\n", step.name.c_str(), step.attempts, step.captures,
                    step.hits, step.misses, step.falseAccepts);
    }
}

void printCodes(const DemoReport& report) {
    std::printf("\n%-38s %9s\n", "captures by outcome", "count");
    for (const auto& [code, count] : report.codes) {
        std::printf("%-38s %9d\n", code.c_str(), count);
    }
}

void printTimings(const DemoReport& report) {
    std::printf("\n%-38s %9s %9s\n", "call", "calls", "ms each");
    for (const auto& [call, timing] : report.timings) {
        std::printf("%-38s %9d %9.2f\n", call.c_str(), timing.calls,
                    timing.milliseconds / timing.calls);
    }
}

}  // namespace

void DemoReport::append(const DemoReport& other) {
    steps.insert(steps.end(), other.steps.begin(), other.steps.end());
    tiles.insert(tiles.end(), other.tiles.begin(), other.tiles.end());
    for (const auto& [code, count] : other.codes) {
        codes[code] += count;
    }
    for (const auto& [call, timing] : other.timings) {
        timings[call].calls += timing.calls;
        timings[call].milliseconds += timing.milliseconds;
    }
}

void writeReport(const DemoReport& report, const std::string& path) {
    writeText(path, nlohmann::json(report).dump(4) + '\n');
}

DemoReport readReport(const std::string& path) {
    std::ifstream file(path);
    return nlohmann::json::parse(file).get<DemoReport>();
}

void printTable(const DemoReport& report) {
    printSteps(report);
    printCodes(report);
    printTimings(report);
    const GenuineAttempts genuine = genuineAttempts(report);
    std::printf("\n%d of %d genuine attempts recognised, %d false accepts: %s\n", genuine.hits,
                genuine.attempts, falseAccepts(report), isPassed(report) ? "passed" : "FAILED");
}

bool isPassed(const DemoReport& report) {
    const GenuineAttempts genuine = genuineAttempts(report);
    return genuine.attempts > 0 && falseAccepts(report) == 0 &&
           genuine.hits >= kRecognisedShare * genuine.attempts;
}

}  // namespace demo
