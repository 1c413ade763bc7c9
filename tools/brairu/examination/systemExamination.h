// What the engine runs on: libraries, processor, environment.
#pragma once

#include "examination/finding.h"

namespace brairu::tool {

Findings examineSystem();

// The library beside this tool. file: the library, or a link to it; it has its version in its name.
Finding examineVersions(const std::string& file);

}  // namespace brairu::tool
