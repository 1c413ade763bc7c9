#include "engine/engineSetup.h"

#include <filesystem>
#include <fstream>

#include "examination/configExamination.h"
#include "fault.h"
#include "store/readOnlyDatabase.h"

namespace brairu::tool {
namespace {

void write(const std::string& path, const ConfigDocument& document) {
    std::ofstream file(path);
    file << document.dump(4) << std::flush;
    if (!file) {
        throw EngineFault("a temporary file cannot be written: " + path,
                          "Make room there, or name another folder in the environment variable "
                          "TMPDIR.");
    }
}

}  // namespace

void keepSettings(ConfigDocument& /*document*/) {}

int detectionLevel(ConfigDocument& document) {
    constexpr int kUnlessConfigured = 3;
    return document["handpose"].contains("dynamic_detection_level")
               ? readInt(document, "handpose", "dynamic_detection_level")
               : kUnlessConfigured;
}

EngineSetup::EngineSetup(const std::string& path, StoreChoice choice, const ConfigChange& change)
    : document_(readSoundConfiguration(path)),
      databasePath_(document_["database"]["database_path"].get<std::string>()) {
    change(document_);
    ConfigDocument copy = document_;
    if (choice != StoreChoice::real) {
        const std::string original = databasePath_;
        databasePath_ = folder_.file("palms.db");
        copy["database"]["database_path"] = databasePath_;
        copy["database"]["search_index_path"] = folder_.file("palms.bin");
        if (choice == StoreChoice::snapshot && isThere(original)) {
            ReadOnlyDatabase(original).copyTo(databasePath_);
        }
    }
    write(configPath(), copy);
}

std::string EngineSetup::userDatabasePath() const {
    return document_["database"]["database_path"].get<std::string>();
}

bool isThere(const std::string& databasePath) {
    std::error_code fault;
    const bool found =
        databasePath.starts_with("file:") || std::filesystem::exists(databasePath, fault);
    if (!found && fault) {
        throw unreadableDatabase(databasePath, fault.message());
    }
    return found;
}

}  // namespace brairu::tool
