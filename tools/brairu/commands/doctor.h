#pragma once

#include "command.h"

namespace brairu::tool {

// doctor: looks at everything that the engine needs, and says what is wrong with it.
void addDoctor(const CommandLine& line);

}  // namespace brairu::tool
