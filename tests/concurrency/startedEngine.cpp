#include "startedEngine.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "lockedCalls.h"
#include "storeModel.h"
#include "support/captureOutput.h"
#include "support/engineFolder.h"
#include "support/poseOutput.h"
#include "support/scriptedNpu.h"

namespace brairu::test {
namespace {

EngineFolder& folder() {
    static EngineFolder folder;
    return folder;
}

// A hand in every frame, and a block of one value from each feature network.
void scriptNetworks() {
    const auto block = [](std::uint8_t value) {
        return ScriptedTensor{std::vector<std::uint8_t>(PVA_FEATURE_BLOCK_BYTES, value), {}};
    };
    ScriptedNpu& npu = ScriptedNpu::get();
    npu.networks[0].outputs = {block(1)};
    npu.networks[1].outputs = {block(2)};
    npu.networks[2].outputs = {{PoseOutput(336).put(100, {90, kUprightHand}).bytes(), {}}};
}

// The matches outlive wipes and restarts: a confirmation clears them.
void forgetMatches() {
    const Arguments palm{{1, 1, {}}, 0, 0, false};
    lockedCall("pvaDataBaseAddUser").make(palm);
    for (int i = 0; i <= kSecurityLevel; ++i) {
        if (lockedCall("pvaGetAuthRes").make(palm).result == 1) {
            return;
        }
    }
    throw std::logic_error("the matches of earlier calls stay");
}

}  // namespace

StartedEngine::StartedEngine() {
    scriptNetworks();
    start(usualSettings());
    emptyStore();
}

StartedEngine::~StartedEngine() {
    deinit_pva();
    pvaClearRegisterBuffer();
}

nlohmann::ordered_json StartedEngine::usualSettings() {
    nlohmann::ordered_json settings = folder().document;
    settings["handpose"]["dynamic_detection_level"] = 0;
    settings["feature"]["security_level"] = kSecurityLevel;
    settings["feature"]["auth_threshold"] = kThreshold;
    settings["feature"]["filter_threshold"] = kThreshold;
    settings["database"]["regis_center_count"] = kCentres;
    settings["database"]["regis_max_count"] = kCaptures;
    return settings;
}

std::string StartedEngine::write(const nlohmann::ordered_json& settings) {
    EngineFolder& place = folder();
    const nlohmann::ordered_json before = std::exchange(place.document, settings);
    std::string path = place.writeConfig();
    place.document = before;
    return path;
}

void StartedEngine::start(const nlohmann::ordered_json& settings) {
    const std::string path = write(settings);
    stdoutOf([&] { EXPECT_EQ(init_pva(path.c_str()), 1U); });
}

void StartedEngine::emptyStore() {
    stdoutOf([] {
        EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 1);
        forgetMatches();
        EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 1);
    });
}

}  // namespace brairu::test
