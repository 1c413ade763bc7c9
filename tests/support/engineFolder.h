// What an engine needs on disk: model containers, a configuration, a place for its store.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "support/temporaryFolder.h"

namespace brairu::test {

// A temporary folder with the six model containers, and a complete configuration document that
// points there. The models are plain texts ("hand net", "hand blobs", "feature net", ...): the
// scripted NPU takes anything.
class EngineFolder {
public:
    EngineFolder();

    std::string file(std::string_view name) const { return folder_.file(name); }
    std::string configPath() const { return file("brairu.json"); }

    // Writes the document, as it stands, to configPath() and returns that.
    std::string writeConfig() const;

    nlohmann::ordered_json document;

private:
    std::string seal(std::string_view name, std::string_view model) const;

    TemporaryFolder folder_;
};

}  // namespace brairu::test
