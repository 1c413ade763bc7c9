#include "storeFiles.h"

#include <sys/mman.h>

namespace brairu::fuzz {

ConfigDocument StoreFiles::settings(int centres) const {
    ConfigDocument document;
    document["feature"] = {{"feature_len", 512},
                           {"auth_threshold", 0.5},
                           {"filter_threshold", 0.5},
                           {"security_level", 1}};
    document["database"] = {{"regis_center_count", centres},
                            {"regis_max_count", 4},
                            {"database_path", databasePath()},
                            {"search_index_path", cachePath()}};
    return document;
}

void StoreFiles::remove() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
        std::filesystem::remove_all(entry.path());
    }
}

ShortLivedStore::~ShortLivedStore() {
    const FeatureCacheFile& cache = *store_.cache();
    if (cache.isMapped()) {
        ::munmap(const_cast<std::uint8_t*>(cache.flags()),
                 static_cast<std::size_t>(cache.fileSize()));
    }
}

}  // namespace brairu::fuzz
