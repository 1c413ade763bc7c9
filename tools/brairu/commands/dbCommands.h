// The commands below "brairu db".
#pragma once

#include "command.h"

namespace brairu::tool {

// These read, and may run beside an engine.
void addDbList(const CommandLine& line);
void addDbShow(const CommandLine& line);
void addDbCheck(const CommandLine& line);
void addDbBackup(const CommandLine& line);
void addDbExport(const CommandLine& line);

// These write, and need the store for themselves.
void addDbImport(const CommandLine& line);
void addDbDelete(const CommandLine& line);
void addDbCompact(const CommandLine& line);

}  // namespace brairu::tool
