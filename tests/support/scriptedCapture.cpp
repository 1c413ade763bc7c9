#include "support/scriptedCapture.h"

#include "support/poseOutput.h"
#include "support/scriptedNpu.h"

namespace brairu::test {
namespace {

// In the order in which the engine builds its networks.
enum Network : std::size_t { kFeatureNetwork, kSupportNetwork, kHandNetwork };

constexpr int kRows = 336;
constexpr int kHandRow = 100;
constexpr int kSureScore = 90;

ScriptedNetwork& network(Network number) {
    return ScriptedNpu::get().networks.at(number);
}

std::vector<ScriptedTensor> block(const Features& features, std::ptrdiff_t number) {
    const auto* first = features.data() + number * PVA_FEATURE_BLOCK_BYTES;
    return {{{first, first + PVA_FEATURE_BLOCK_BYTES}, {}}};
}

}  // namespace

void scriptHand() {
    network(kHandNetwork).outputs = {
        {PoseOutput(kRows).put(kHandRow, {kSureScore, kUprightHand}).bytes(), {}}};
}

void scriptNoHand() {
    network(kHandNetwork).outputs = {{PoseOutput(kRows).bytes(), {}}};
}

// The support network runs twice a capture.
void scriptFeatures(const Features& features) {
    network(kFeatureNetwork).outputs = block(features, 2);
    network(kSupportNetwork).outputsOfRun = {block(features, 0), block(features, 1)};
    network(kSupportNetwork).runs = 0;
}

}  // namespace brairu::test
