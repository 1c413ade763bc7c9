#pragma once

#include <string>
#include <vector>

#include "suite.h"

namespace brairu::bench {

// Keeps this process on one core, the last it may use, and returns its number. Throws
// std::system_error.
int pinToOneCore();

// Runs every measurement several times over in random order, by its clock; those by the clock on the
// wall more often. What is run prints to nowhere.
// The options are those of Google Benchmark; they override the number of repetitions of all others,
// for example.
Times timeAll(const Suite& suite, const std::vector<std::string>& options);

}  // namespace brairu::bench
