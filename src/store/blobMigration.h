#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

#include "store/sqlite.h"

namespace brairu {

// faulty: some rows could not be read or rewritten. unreadable: none could be read.
enum class MigrationOutcome { clean, faulty, unreadable };

// Sees a row as it was before; it may see the same row twice.
using RowVisitor = std::function<void(std::int64_t id, std::span<const std::uint8_t> blob)>;

// Brings the blob of every row to size bytes by cutting it or by repeating its first template; a
// size of 0 leaves all as they are. Faults are reported on standard error; rows that cannot be
// rewritten keep their blob.
MigrationOutcome migrateBlobs(SqliteConnection& connection, std::size_t size,
                              const RowVisitor& visit);

}  // namespace brairu
