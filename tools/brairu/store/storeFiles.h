// The store that a configuration names: its database, its feature cache, and how they are laid out.
#pragma once

#include <string>

#include "config/configStore.h"
#include "store/palmTemplate.h"

namespace brairu::tool {

struct StoreFiles {
    std::string database;
    std::string cache;
    int centreCount = 0;  // templates of a palm

    // What the library leaves beside a cache that a start has to compare with the database.
    std::string changeNote() const { return cache + ".changed"; }
    std::size_t rowBytes() const { return static_cast<std::size_t>(centreCount) * kTemplateBytes; }
};

// The settings of the store must be sound.
StoreFiles storeFilesOf(ConfigDocument document);

struct ConfiguredStore {
    ConfigDocument document;
    StoreFiles files;
};

// Reads and checks the configuration. Throws EngineFault.
ConfiguredStore configuredStore(const std::string& configPath);

// Whether the search reaches a row.
constexpr bool isMirrored(std::int64_t rowId) {
    return rowId >= 1 && rowId <= kMirroredPalms;
}

}  // namespace brairu::tool
