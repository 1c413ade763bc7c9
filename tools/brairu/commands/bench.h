#pragma once

#include "command.h"

namespace brairu::tool {

void addBench(const CommandLine& line);

}  // namespace brairu::tool
