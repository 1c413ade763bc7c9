#pragma once

#include "command.h"

namespace brairu::tool {

// identify FRAME...: whose palm is in frames.
void addIdentify(const CommandLine& line);

}  // namespace brairu::tool
