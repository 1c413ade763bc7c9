#include "store/storeFiles.h"

#include "examination/configExamination.h"
#include "store/templateStore.h"

namespace brairu::tool {

StoreFiles storeFilesOf(ConfigDocument document) {
    return {readText(document, "database", "database_path"),
            cacheFileName(readText(document, "database", "search_index_path")),
            readInt(document, "database", "regis_center_count")};
}

ConfiguredStore configuredStore(const std::string& configPath) {
    const ConfigDocument document = readSoundConfiguration(configPath);
    return {document, storeFilesOf(document)};
}

}  // namespace brairu::tool
