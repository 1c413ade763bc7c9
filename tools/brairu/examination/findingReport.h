// Findings as they are told to people and to programs.
#pragma once

#include "examination/finding.h"
#include "report/report.h"

namespace brairu::tool {

void sayFindings(Report& report, const Findings& findings);

long long countOf(const Findings& findings, Level level);

// {"result": ..., "faults": ..., "warnings": ..., "findings": [...]}, after the line that sums them
// up has been said.
Json summarised(Report& report, const Findings& findings);

// An engine fault, if one of them is.
Ending endingOf(const Findings& findings);

}  // namespace brairu::tool
