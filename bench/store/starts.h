#pragma once

#include "store/storedPalms.h"
#include "suite.h"

namespace brairu::bench {

// What a process finds that starts a store.
enum class Before {
    orderlyEnd,
    changes,  // the note that the cache was changed: every slot has to be compared
    noCache,
};

// A start of the store over the palms.
Measurement storeStart(const PalmsPointer& palms, Before before);

// SQLite alone: opens the database and reads every row; then the cache's flags are read from its
// file.
Measurement bareScan(const PalmsPointer& palms);
// The same with all statements of a start: the rows are counted before.
Measurement bareCountAndScan(const PalmsPointer& palms);
// Reads every row and copies the search records into a new mapped file.
Measurement bareScanWithCopy(const PalmsPointer& palms);

// A search for the best hits, the first after a start and one of many.
Measurement firstSearch(const PalmsPointer& palms);
Measurement warmSearch(const PalmsPointer& palms);

// The same up to the palm that was found, whose row is read.
Measurement firstIdentification(const PalmsPointer& palms);
Measurement warmIdentification(const PalmsPointer& palms);

}  // namespace brairu::bench
