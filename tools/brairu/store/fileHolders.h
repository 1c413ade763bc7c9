// The processes that have files open, as far as the system lets this one look.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace brairu::tool {

struct FileHolders {
    std::vector<std::string> processes;  // "door (4711)"
    int unseen = 0;  // processes that could not be looked into, mostly of others
};

// Looks for open descriptors and for mappings of these files, in every process but this one. What
// runs behind another kernel's or container's process table is not seen at all. Throws EngineFault
// when the table of processes cannot be read, hides those of other users, or is not that of this
// process.
FileHolders holdersOf(const std::vector<std::string>& paths,
                      const std::filesystem::path& processes = "/proc");

// What to tell of processes that could not be looked into.
std::string remarkOnUnseen(int processes);

}  // namespace brairu::tool
