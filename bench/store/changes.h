#pragma once

#include "store/storedPalms.h"
#include "suite.h"

namespace brairu::bench {

// Changes of a database by the store.
Measurement enrolmentCommit(const PalmsPointer& palms);
Measurement learningUpdate(const PalmsPointer& palms);

// The same by SQLite alone, which is told to wait for the folder after each commit, as the store
// does.
Measurement bareInsert(const PalmsPointer& palms);
Measurement bareRewrite(const PalmsPointer& palms);

// The same measurement by the clock on the wall.
Measurement onTheWall(Measurement measurement);

}  // namespace brairu::bench
