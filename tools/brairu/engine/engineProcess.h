// Runs the engine in a process of its own. A fault of the NPU stack ends the process that it
// happens in, and a crash does; here it ends the child, and the tool can tell what happened.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "report/report.h"

namespace brairu::tool {

// How a child came to its end.
struct EngineEnd {
    std::optional<Ending> verdict;  // what the work came to, unless the process ended before
    int waitStatus = 0;             // of waitpid
    std::string lines;              // the last that the engine wrote, on either standard stream
};

using EngineWork = std::function<Ending()>;

// Runs work in a child, whose standard streams are collected, and shown on the report's standard
// error if showLines says so. A fault that work throws is reported by the child. Signals that ask
// this process to stop are passed on.
EngineEnd runApart(const EngineWork& work, Report& report, bool showLines);

// The same, for a command whose end is that of the work: a child that ended without a verdict is
// reported as an engine fault.
Ending runEngine(const EngineWork& work, Report& report, bool showLines);

// Why a child ended before its work was done, as a fault to report.
EngineFault explainedEnd(const EngineEnd& end);

}  // namespace brairu::tool
