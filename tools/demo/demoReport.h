// What the demonstration met, step by step; passed from the engine's processes to the parent as
// JSON.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace demo {

struct StepReport {
    std::string name;
    bool genuine = true;  // attempts by people who should be recognised
    int attempts = 0;
    int captures = 0;
    int hits = 0;
    int misses = 0;
    int falseAccepts = 0;
};

struct Timing {
    int calls = 0;
    double milliseconds = 0.0;
};

struct DemoReport {
    std::vector<StepReport> steps;
    std::map<std::string, int> codes;  // captures by outcome: placement and quality codes in words
    std::map<std::string, Timing> timings;
    std::vector<std::string> tiles;  // pictures for the sheet

    void append(const DemoReport& other);
};

void writeReport(const DemoReport& report, const std::string& path);
DemoReport readReport(const std::string& path);

void printTable(const DemoReport& report);

// No one got in who should not, and at least 99 % of the genuine attempts were recognised.
bool isPassed(const DemoReport& report);

}  // namespace demo
