#pragma once

#include "command.h"

namespace brairu::tool {

void addModels(const CommandLine& line);

}  // namespace brairu::tool
