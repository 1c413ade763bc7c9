#pragma once

#include <filesystem>

#include "suite.h"

namespace brairu::bench {

// Adds what a start, an enrolment and a learning update cost, against SQLite alone. The databases
// are made in the folder and removed with the suite. Throws std::runtime_error if they cannot be.
void addStore(Suite& suite, const std::filesystem::path& folder);

}  // namespace brairu::bench
