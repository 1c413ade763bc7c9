#pragma once

#include <cstddef>

#include "store/sqlite.h"

namespace brairu {

// Brings the blob of every row to size bytes by cutting it or by repeating its first template; a
// size of 0 leaves all as they are. Rows that cannot be rewritten are reported on standard error
// and keep their blob. False if the table could not be read at all, which is reported too.
bool migrateBlobs(SqliteConnection& connection, std::size_t size);

}  // namespace brairu
