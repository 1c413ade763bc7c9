#pragma once

#include <string>

namespace brairu {

// The path as one word of a shell command that no program takes for an option. A plain path stays
// as it is.
std::string quotedForShell(const std::string& path);

}  // namespace brairu
