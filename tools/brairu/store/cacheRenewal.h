// The feature cache after a change of the database: built anew by the library's own start.
#pragma once

#include "engine/engineProcess.h"
#include "report/report.h"
#include "store/storeFiles.h"

namespace brairu::tool {

// Throws EngineFault when what the configuration names as the feature cache is there and is no such
// file: it would be emptied.
void requireCacheOrNone(const StoreFiles& files);

// Before the change: has the next start of the library compare the cache with the database, through
// a power cut as well. Throws EngineFault.
void leaveNote(const StoreFiles& files);

// After the note and before the change: no feature of a palm that is gone stays in the file, through
// a power cut as well. The file keeps its owner and its rights. Throws EngineFault.
void emptyCache(const StoreFiles& files);

enum class CacheState {
    rebuilt,
    missing,  // the next start of the engine makes it
};

// After the change: starts the library on the store, in a process of its own, and sees that all it
// mirrors is in the cache. Throws EngineFault, which says that the change is done.
CacheState rebuildCache(const ConfiguredStore& store, Report& report, bool showLines);

// What is said when that start did not come to its end.
EngineFault unfinishedRebuild(const StoreFiles& files, const EngineEnd& end);

// Starts the library on a store that is not there yet, which makes it, for its owner alone. Throws
// EngineFault.
void makeStore(const ConfiguredStore& store, Report& report, bool showLines);

const char* idOf(CacheState state);

}  // namespace brairu::tool
