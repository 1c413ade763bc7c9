// What can be told of a file from outside.
#pragma once

#include <string>

#include "examination/finding.h"

namespace brairu::tool {

// Whether the file is there, can be read, and who else may change it. secret: others ought not to
// read it either.
Findings examineFile(const std::string& area, const std::string& path, bool secret);

// Whether others may put files into a folder.
Findings examineFolder(const std::string& area, const std::string& path);

// "; relative ones start at /home/door", for a relative path.
std::string startOf(const std::string& path);

}  // namespace brairu::tool
