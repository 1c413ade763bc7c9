#pragma once

#include "command.h"

namespace brairu::tool {

// verify A B: whether two frames show the same palm.
void addVerify(const CommandLine& line);

}  // namespace brairu::tool
