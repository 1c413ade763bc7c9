// Files that a command line names: what is read has to be there, and what is written has not.
#pragma once

#include <filesystem>
#include <string>

namespace brairu::tool {

// Throws InputFault unless there is a file or folder of this name that this user may read.
void requireReadable(const std::filesystem::path& path);

// Throws InputFault when there is anything under this name, with what else the user can do.
void requireFree(const std::filesystem::path& path, const std::string& advice);

// For commands that replace a file when they are told to.
inline constexpr char kForceAdvice[] = "Name a new file, or give --force to replace it.";

}  // namespace brairu::tool
