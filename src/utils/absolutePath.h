// Paths that keep leading where they led, wherever the process's working directory leads later.
#pragma once

#include <string>

namespace brairu {

// The working directory; empty when there is none.
std::string workingFolder();

// path taken from folder; as it is when it is empty or absolute, or folder is empty.
std::string pathFrom(const std::string& folder, const std::string& path);

// path taken from the working directory.
std::string absolutePath(const std::string& path);

}  // namespace brairu
