#include "examination/findingReport.h"

#include <algorithm>

#include "examination/examineApart.h"
#include "report/numbers.h"

namespace brairu::tool {
namespace {

constexpr char kIndent[] = "           ";

const char* markOf(Level level) {
    switch (level) {
        case Level::fine: return "[ok]       ";
        case Level::note: return "[note]     ";
        case Level::warning: return "[warning]  ";
        case Level::fault: return "[FAULT]    ";
    }
    return "";
}

}  // namespace

void sayFindings(Report& report, const Findings& findings) {
    for (const Finding& each : findings) {
        report.say(markOf(each.level) + each.area + ": " + each.what);
        if (!each.advice.empty()) {
            report.say(kIndent + each.advice);
        }
    }
}

long long countOf(const Findings& findings, Level level) {
    return std::ranges::count(findings, level, &Finding::level);
}

Json summarised(Report& report, const Findings& findings) {
    const auto faults = countOf(findings, Level::fault);
    const auto warnings = countOf(findings, Level::warning);
    report.say(std::string(faults > 0 ? "not in order: " : "in order: ") +
               counted(faults, "fault") + ", " + counted(warnings, "warning") + ", " +
               counted(countOf(findings, Level::note), "note"));
    Json json{{"result", faults > 0 ? "faulty" : "in_order"},
              {"faults", faults},
              {"warnings", warnings},
              {"findings", Json::array()}};
    for (const Finding& each : findings) {
        json["findings"].push_back(jsonOf(each));
    }
    return json;
}

Ending endingOf(const Findings& findings) {
    return countOf(findings, Level::fault) > 0 ? Ending::engineFault : Ending::done;
}

}  // namespace brairu::tool
