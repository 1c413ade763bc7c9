// A host on the scripted NPU: a folder with a store, its steps through the exported calls, and the
// inspection of what a restart finds.
#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "ledger.h"
#include "support/engineFolder.h"
#include "support/preferMemory.h"

namespace brairu::test {

// Models and settings, with everything that changes in a folder of its own.
class HostFolder {
public:
    HostFolder();

    std::string path() const { return engine_.file("store"); }
    std::string file(const std::string& name) const { return path() + "/" + name; }
    std::string configPath() const { return file("brairu.json"); }

    // Makes the folder anew, with no palm in it. The configured index file may be the cache file
    // itself, which a wipe then removes, or one of the older format.
    void renew(int centres, bool olderFormat);

    // The configuration that a host has made by such settings.
    nlohmann::json configured(const Ledger& ledger) const;

private:
    EngineFolder engine_;
    nlohmann::ordered_json renewed_;  // as renew() wrote it
};

// Does the step through the library; throws unless it reports success. The ledger is the one
// before the step.
void perform(const Step& step, const Ledger& ledger);

// Starts the engine in this process, which must not have started it, and compares the files and
// what the calls say with the ledgers, of which one must fit in all. Returns its index; throws
// with a description of what is wrong.
int inspectRestart(const HostFolder& folder, std::span<const Ledger> possible);

}  // namespace brairu::test
