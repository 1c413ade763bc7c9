// What the engine runs on: libraries, processor, environment.
#pragma once

#include "examination/finding.h"

namespace brairu::tool {

Findings examineSystem();

}  // namespace brairu::tool
