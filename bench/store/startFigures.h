#pragma once

#include <vector>

#include "store/storedPalms.h"
#include "suite.h"

namespace brairu::bench {

// CPU time and memory of a start of the whole engine over the palms, with the shipped models, in a
// process of its own. Throws std::runtime_error if that fails.
std::vector<Figure> startFigures(const StoredPalms& palms);

}  // namespace brairu::bench
