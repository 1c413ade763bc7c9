// What the commands that put palms into a new file have in common.
#pragma once

#include <string>

#include "report/report.h"

namespace brairu::tool {

struct NewFile {
    const char* result;
    std::string path;
    long long palms = 0;
};

// Reports the file, and what runs into the same name have left beside it that were cut.
void reportNewFile(const NewFile& file, Report& report);

}  // namespace brairu::tool
