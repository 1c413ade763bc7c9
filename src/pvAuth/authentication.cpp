// Exports: recognition.
#include "match/authentication.h"

#include "brairu.h"
#include "pvAuth.h"
#include "pvAuth/nullPointer.h"

namespace brairu {
namespace {

// Outlives restarts of the engine. Never destroyed: another thread's fault may end the process
// beside the calls that use it.
AuthHistory& authHistory() BRAIRU_THREAD(requires_capability(apiLock));

AuthHistory& authHistory() {
    static AuthHistory& history = *new AuthHistory;
    return history;
}

}  // namespace
}  // namespace brairu

int pvaGetAuthRes(const std::uint8_t* feature, PvaAuthResult* result) {
    using namespace brairu;
    const MutexLock lock(apiLock);
    TemplateStore& store = engineStore(__func__);
    ConfigDocument& document = engineConfig(__func__).document();
    if (feature == nullptr || result == nullptr) {
        return refuseNullPointer(__func__);
    }
    const CaptureBlocks probe = splitFeature(feature, readInt(document, "feature", "feature_len"));
    return identify(store, authHistory(), engine().securityLevel, probe, *result);
}

int pvaGet1to1AuthRes(const std::uint8_t* probe, const std::uint8_t* reference,
                      PvaAuthResult* result) {
    using namespace brairu;
    ConfigDocument& config = engineStoreConfig(__func__);
    if (probe == nullptr || reference == nullptr || result == nullptr) {
        return refuseNullPointer(__func__);
    }
    const BlockSimilarities similarities = compareCaptures(probe, reference);
    result->similarity = reportedSimilarity(similarities);
    return isSamePalm(similarities, readFloat(config, "feature", "auth_threshold"));
}
