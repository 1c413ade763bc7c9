#pragma once

#include "command.h"

namespace brairu::tool {

void addEval(const CommandLine& line);

}  // namespace brairu::tool
