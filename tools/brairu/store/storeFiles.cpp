#include "store/storeFiles.h"

#include <string_view>

#include "examination/configExamination.h"

namespace brairu::tool {
namespace {

// Configurations of an older index format name the cache file with its ending.
std::string cacheFileOf(std::string path) {
    constexpr std::string_view kOldEnding = ".usearch";
    if (path.ends_with(kOldEnding)) {
        path.replace(path.size() - kOldEnding.size(), kOldEnding.size(), ".bin");
    }
    return path;
}

}  // namespace

StoreFiles storeFilesOf(ConfigDocument document) {
    return {readText(document, "database", "database_path"),
            cacheFileOf(readText(document, "database", "search_index_path")),
            readInt(document, "database", "regis_center_count")};
}

ConfiguredStore configuredStore(const std::string& configPath) {
    const ConfigDocument document = readConfiguration(configPath);
    requireSoundValues(document);
    return {document, storeFilesOf(document)};
}

}  // namespace brairu::tool
