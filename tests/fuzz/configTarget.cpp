// A configuration file of any bytes: loading, the engine's lookups, setting, saving, loading again.
#include "byteSource.h"
#include "claim.h"
#include "config/configStore.h"
#include "handPose/placement.h"
#include "handPose/qualityGate.h"
#include "support/temporaryFolder.h"

namespace {

using namespace brairu;

// The only errors that a document may raise.
template <class Action>
void allowJsonErrors(Action action) {
    try {
        action();
    } catch (const nlohmann::json::exception&) {
    }
}

void lookUpEverything(ConfigDocument& document) {
    for (const char* key : {"input_w", "input_h", "dynamic_detection_level"}) {
        allowJsonErrors([&] { readInt(document, "handpose", key); });
    }
    for (const char* key : {"input_w", "input_h", "feature_len", "security_level"}) {
        allowJsonErrors([&] { readInt(document, "feature", key); });
    }
    for (const char* key : {"regis_center_count", "regis_max_count"}) {
        allowJsonErrors([&] { readInt(document, "database", key); });
    }
    for (const char* key : {"auth_threshold", "filter_threshold"}) {
        allowJsonErrors([&] { readFloat(document, "feature", key); });
    }
    for (const char* key : {"database_path", "search_index_path"}) {
        allowJsonErrors([&] { readText(document, "database", key); });
    }
    allowJsonErrors([&] { readText(document, "feature", "support_model_path_net"); });
    allowJsonErrors([&] { readPlacementSettings(document); });
    allowJsonErrors([&] { readQualitySettings(document); });
}

void changeSettings(ConfigStore& store) {
    allowJsonErrors([&] { store.set("handpose", "dynamic_detection_level", 2U); });
    allowJsonErrors([&] { store.set("feature", "auth_threshold", 0.25F); });
    store.has("handpose", "dynamic_detection_level");
}

void checkThatSavingKeeps(const ConfigStore& store, const std::string& path) {
    allowJsonErrors([&] {
        store.save();
        ConfigStore again;
        fuzz::claim(again.load(path), "a saved document loads");
        fuzz::claim(again.document() == store.document(), "a saved document loads as it was");
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::TemporaryFolder folder;
    const std::string text(data, data + size);
    const std::string path = folder.write("config.json", text);
    ConfigStore store;
    if (store.load(path)) {
        fuzz::claim(store.document() == ConfigDocument::parse(text), "what loads is what was read");
        checkThatSavingKeeps(store, path);
    }
    lookUpEverything(store.document());
    changeSettings(store);
    store.load(folder.write("config.json", text));
    return 0;
}
