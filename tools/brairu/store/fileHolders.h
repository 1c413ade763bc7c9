// The processes that have files open, as far as the system lets this one look.
#pragma once

#include <string>
#include <vector>

namespace brairu::tool {

struct FileHolders {
    std::vector<std::string> processes;  // "door (4711)"
    int unseen = 0;                      // processes of others, which could not be looked into
};

// Looks for open descriptors and for mappings of these files, in every process but this one. What
// runs behind another kernel's or container's process table is not seen at all.
FileHolders holdersOf(const std::vector<std::string>& paths);

}  // namespace brairu::tool
