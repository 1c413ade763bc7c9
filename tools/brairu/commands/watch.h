#pragma once

#include "command.h"

namespace brairu::tool {

// watch SOURCE: the loop of a door.
void addWatch(const CommandLine& line);

}  // namespace brairu::tool
