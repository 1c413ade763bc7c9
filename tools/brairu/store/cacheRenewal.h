// The feature cache after a change of the database: built anew by the library's own start.
#pragma once

#include "report/report.h"
#include "store/storeFiles.h"

namespace brairu::tool {

// Before the change: has the next start of the library compare the cache with the database, through
// a power cut as well. Throws EngineFault.
void leaveNote(const StoreFiles& files);

// After it: no feature of a palm that is gone stays in the file, which keeps its owner and its
// rights.
void emptyCache(const StoreFiles& files);

enum class CacheState {
    rebuilt,
    missing,  // the next start of the engine makes it
};

// Starts the library on the store, in a process of its own, and sees that all it mirrors is in the
// cache. Throws EngineFault.
CacheState rebuildCache(const ConfiguredStore& store, Report& report, bool showLines);

// Starts the library on a store that is not there yet, which makes it, for its owner alone. Throws
// EngineFault.
void makeStore(const ConfiguredStore& store, Report& report, bool showLines);

const char* idOf(CacheState state);

}  // namespace brairu::tool
