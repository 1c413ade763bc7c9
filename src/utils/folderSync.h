#pragma once

#include <string_view>

namespace brairu {

// Waits until the names in the folder of the file at path are on the disk: what was created,
// renamed or removed there stays so through a power cut. False where that cannot be done. Takes no
// memory: what it follows is done, and must not end in an exception.
bool syncFolderOf(std::string_view path) noexcept;

}  // namespace brairu
