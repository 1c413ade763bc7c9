// What an engine of the tool starts from: a copy of the user's configuration in a temporary folder,
// with a store that the command may use. The user's file is never rewritten, whatever the engine
// sets while it runs.
#pragma once

#include <functional>
#include <string>

#include "config/configStore.h"
#include "engine/temporaryFolder.h"

namespace brairu::tool {

enum class StoreChoice {
    empty,     // a new one
    snapshot,  // a copy of the user's database as it is now; an empty one if there is none
    real,      // the user's own: it is written to
};

// Changes nothing.
void keepSettings(ConfigDocument& document);

using ConfigChange = std::function<void(ConfigDocument&)>;

class EngineSetup {
public:
    // Reads and checks the configuration, and then changes it. Throws EngineFault.
    EngineSetup(const std::string& configPath, StoreChoice choice,
                const ConfigChange& change = keepSettings);

    // As the user wrote it, changed.
    const ConfigDocument& document() const { return document_; }

    // The database that the engine will work on, and the one that the user's configuration names.
    const std::string& databasePath() const { return databasePath_; }
    std::string userDatabasePath() const;

    // What init_pva is given.
    std::string configPath() const { return folder_.file("brairu.json"); }

private:
    ConfigDocument document_;
    TemporaryFolder folder_;
    std::string databasePath_;
};

// How much captures of an enrolment have to differ where the engine starts with this configuration.
int detectionLevel(ConfigDocument& document);

// Whether a database path of a configuration names a file that is there. Throws EngineFault when
// this user may not even look.
bool isThere(const std::string& databasePath);

}  // namespace brairu::tool
