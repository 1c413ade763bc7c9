// Examinations that may end their process, in a process of their own.
#pragma once

#include <functional>

#include "engine/engineProcess.h"
#include "examination/finding.h"

namespace brairu::tool {

struct ApartFindings {
    Findings findings;
    EngineEnd end;
};

// What look finds; a child that ended before adds a fault, in this area, that begins with subject.
ApartFindings examineApart(const std::function<Findings()>& look, const std::string& area,
                           const std::string& subject, Report& report, bool showLines);

Json jsonOf(const Finding& finding);

}  // namespace brairu::tool
