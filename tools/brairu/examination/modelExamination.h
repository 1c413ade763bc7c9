// Looks at the networks: their files, and whether the NPU stack takes them.
#pragma once

#include "config/configStore.h"
#include "examination/finding.h"
#include "report/report.h"

namespace brairu::tool {

// The settings must be sound, but for the files that they name.
Findings examineModels(const ConfigDocument& document, Report& report, bool showLines);

}  // namespace brairu::tool
