#pragma once

#include "command.h"

namespace brairu::tool {

// enrol --user U --palm P FRAME...: puts a palm into the store.
void addEnrol(const CommandLine& line);

}  // namespace brairu::tool
