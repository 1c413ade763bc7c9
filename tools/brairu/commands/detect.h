#pragma once

#include "command.h"

namespace brairu::tool {

// detect FRAME...: what the engine sees in frames, and why it refuses them.
void addDetect(const CommandLine& line);

}  // namespace brairu::tool
