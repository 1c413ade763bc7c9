#pragma once

#include <filesystem>

#include "suite.h"

namespace brairu::bench {

// The 1:N search against its peers and its growth, over galleries whose files are made in the
// folder. Throws std::runtime_error if a peer does not find the same records, as far as its
// arithmetic allows.
void addSearch(Suite& suite, const std::filesystem::path& folder);

}  // namespace brairu::bench
