// Numbers the rows of a store anew, from 1 without gaps: the search reaches the numbers 1 to 10000,
// and the database gives none twice.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "store/exclusiveStore.h"

namespace brairu::tool {

struct Compaction {
    std::int64_t palms = 0;
    std::int64_t lastNumber = 0;  // that the database had given before
    std::uintmax_t bytesBefore = 0;
    std::uintmax_t bytesAfter = 0;
};

using StepVisitor = std::function<void()>;

// Writes the rows in their order into a new database, compares it with the old one, and puts it in
// its place, with the rights of the old one. The cache has to be built anew afterwards. Throws
// EngineFault; the old database is then as it was. betweenSteps is called after each step.
Compaction compact(
    const ExclusiveStore& store, const StepVisitor& betweenSteps = [] {});

// Files that a compaction leaves beside a database when it is cut short.
std::vector<std::string> compactionLeftovers(const std::string& database);

// What is left goes: the first step of a compaction.
void removeCompactionLeftovers(const std::string& database);

}  // namespace brairu::tool
