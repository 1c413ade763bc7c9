#pragma once

#include <string>

#include "suite.h"

namespace brairu::bench {

// Prints the table of ratios as Markdown, and below it the growth, the tables of times and the
// figures. A ratio is that of the medians. Its spread goes from the other's lower quartile by our
// upper one to the reverse: a goal within it may be reached in one run and missed in the next.
// Returns the number of goals and limits that were missed; a row that could not be run misses none.
int printReport(const Suite& suite, const Times& times);

// Writes times, rows and growth as JSON. Throws std::runtime_error if it cannot.
void writeResults(const Suite& suite, const Times& times, const std::string& path);

}  // namespace brairu::bench
