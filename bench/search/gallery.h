#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

#include "store/featureCacheFile.h"

namespace brairu::bench {

inline constexpr std::uint32_t kRecordBytes = 512;

// A feature cache file with random records in a random part of its slots, and a probe that one of
// them is meant to match. The same numbers make the same gallery.
class Gallery {
public:
    // The share of the slots that are occupied, at most 1. Throws std::runtime_error if the file
    // cannot be made in the folder; it does not stay there.
    Gallery(const std::filesystem::path& folder, std::uint32_t slots, double occupied);
    // Nobody wants the file on the disk.
    ~Gallery() { cache_.leaveMapped(); }
    Gallery(const Gallery&) = delete;
    Gallery& operator=(const Gallery&) = delete;

    const FeatureCacheFile& cache() const { return cache_; }
    std::span<const std::int8_t> probe() const { return probe_; }

    // All bytes that a search of a full gallery reads: the flags, then the records.
    std::span<const std::uint8_t> bytes() const {
        return {cache_.flags(), static_cast<std::size_t>(cache_.fileSize())};
    }

private:
    FeatureCacheFile cache_;
    std::vector<std::int8_t> probe_;
};

using GalleryPointer = std::shared_ptr<const Gallery>;

}  // namespace brairu::bench
