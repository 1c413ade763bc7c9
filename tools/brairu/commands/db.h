#pragma once

#include "command.h"

namespace brairu::tool {

// "brairu db": looks into a store, moves it, backs it up and numbers its rows anew.
void addDb(const CommandLine& line);

}  // namespace brairu::tool
