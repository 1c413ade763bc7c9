#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "config/configStore.h"

namespace brairu::bench {

using Bytes = std::vector<std::uint8_t>;

// A folder with a database of enrolled palms and the feature cache that mirrors it. The same
// numbers make the same palms.
class StoredPalms {
public:
    // Throws std::runtime_error if they cannot be made. The folder goes with the object.
    StoredPalms(std::filesystem::path folder, int palms, int centres);
    ~StoredPalms();
    StoredPalms(const StoredPalms&) = delete;
    StoredPalms& operator=(const StoredPalms&) = delete;

    std::string database() const { return folder_ / "palms.db"; }
    std::string cache() const { return folder_ / "palms.bin"; }
    // What a process that changed the cache leaves beside it.
    std::string changeNote() const { return cache() + ".changed"; }

    int palms() const { return palms_; }
    int centres() const { return centres_; }
    // Of a store over these files.
    ConfigDocument config() const;

    // The templates of the palm with this id.
    Bytes row(int id) const;

private:
    void startAndEnd() const;
    void insertRows() const;

    std::filesystem::path folder_;
    int palms_;
    int centres_;
};

using PalmsPointer = std::shared_ptr<const StoredPalms>;

}  // namespace brairu::bench
