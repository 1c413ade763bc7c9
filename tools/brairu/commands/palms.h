#pragma once

#include "command.h"

namespace brairu::tool {

void addPalms(const CommandLine& line);

}  // namespace brairu::tool
