// Has the engine capture rendered palms whose answer is known.
#pragma once

#include <string>

#include "examination/finding.h"
#include "report/report.h"

namespace brairu::tool {

// The whole way from frame to comparison, on a store of its own.
Findings examineCapture(const std::string& configPath, Report& report, bool showLines);

}  // namespace brairu::tool
