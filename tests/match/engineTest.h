// An engine with a configuration and a template store, but no networks, published in this process.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "blocks.h"
#include "brairu.h"
#include "config/configStore.h"
#include "pvAuth.h"
#include "storeTest.h"
#include "support/thrownBy.h"

namespace brairu::test {

class EngineTest : public StoreTest {
protected:
    EngineTest();
    ~EngineTest() override;

    // Makes the store anew on the files of the folder, runs its start-up pass and publishes it.
    void startEngine(int centres = 1);

    // Changes a setting in the engine's document and in the store's copy, as the setters do.
    void configure(const std::string& section, const std::string& key, const ConfigDocument& value);
    ConfigDocument& document() { return engineConfig_.document(); }

    // Enrols a palm with these templates, without a word. Returns its row id.
    int enrol(std::int64_t userid, const std::vector<std::vector<std::uint8_t>>& templates);
    int enrol(std::int64_t userid, const CaptureBlocks& blocks) {
        return enrol(userid, {templateWith(blocks)});
    }

    std::string databaseBytes() const { return readFile(databasePath()); }
    std::string cacheBytes() const { return readFile(cachePath()); }

private:
    ConfigStore engineConfig_;
};

// Whether another thread can take the API lock.
bool apiLockIsFree();

}  // namespace brairu::test
