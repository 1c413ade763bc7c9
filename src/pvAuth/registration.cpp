// Exports: enrolment.
#include "match/registration.h"

#include <cstdio>

#include "brairu.h"
#include "pvAuth.h"
#include "pvAuth/nullPointer.h"

namespace brairu {
namespace {

// One enrolment at a time, for the whole process. Not guarded: its calls come from one thread at a
// time. Never destroyed: another thread's fault may end the process beside them.
RegisterBuffer& registerBuffer() {
    static RegisterBuffer& buffer = *new RegisterBuffer;
    return buffer;
}

class ClearWhenDone {
public:
    explicit ClearWhenDone(RegisterBuffer& buffer) : buffer_(buffer) {}
    ~ClearWhenDone() { buffer_.clear(); }
    ClearWhenDone(const ClearWhenDone&) = delete;
    ClearWhenDone& operator=(const ClearWhenDone&) = delete;

private:
    RegisterBuffer& buffer_;
};

std::int32_t statusOf(CommitOutcome outcome) {
    switch (outcome) {
        case CommitOutcome::committed: return PVA_REGISTER_COMMITTED;
        case CommitOutcome::duplicate: return PVA_REGISTER_DUPLICATE;
        case CommitOutcome::failed: break;
    }
    return PVA_REGISTER_FAILED;
}

// The buffer is empty afterwards, whatever the outcome and by exceptions too.
std::int32_t commit(const PvaUserKey& key, bool checkDuplicate) {
    const MutexLock lock(apiLock);
    const ClearWhenDone clearing(registerBuffer());
    const CommitOutcome outcome =
        commitRegistration(engineStore("pvaRegister"), registerBuffer(), key, checkDuplicate);
    const char* text = outcome == CommitOutcome::committed ? "注册成功 id = %d 个用户\r\n"
                                                           : "注册失败 id = %d 个用户\r\n";
    std::printf(text, key.palmindex);
    return statusOf(outcome);
}

int configuredMaxCount(ConfigDocument& document) {
    return readInt(document, "database", "regis_max_count");
}

// Buffers one capture, or refuses it; the last one commits.
void registerCapture(ConfigDocument& document, const PvaUserKey& key, const std::uint8_t* feature,
                     bool checkDuplicate, PvaRegisterResult& result) {
    RegisterBuffer& buffer = registerBuffer();
    const int maxCount = configuredMaxCount(document);
    CaptureBlocks capture = splitFeature(feature, readInt(document, "feature", "feature_len"));
    result.status = PVA_REGISTER_MORE;
    if (repeatsFirstHalf(buffer, capture[0], maxCount, engine().detectionLevel)) {
        return;
    }
    buffer.add(std::move(capture));
    result.count = buffer.count();
    result.maxCount = maxCount;
    if (buffer.count() == maxCount) {
        result.status = commit(key, checkDuplicate);
    }
}

}  // namespace
}  // namespace brairu

int pvaRegister(const PvaUserKey* key, const std::uint8_t* feature, int checkDuplicate,
                PvaRegisterResult* result) {
    using namespace brairu;
    requireEngineStore(__func__);
    ConfigDocument& document = engineConfig(__func__).document();
    if (key == nullptr || feature == nullptr || result == nullptr) {
        return refuseNullPointer(__func__);
    }
    if (result->count == 0) {
        registerBuffer().clear();
    }
    registerCapture(document, *key, feature, checkDuplicate != 0, *result);
    return 1;
}

int pvaGetRegisterBufferSize(void) {
    return brairu::registerBuffer().count();
}

int pvaGetRegisterBufferCapacity(void) {
    return brairu::configuredMaxCount(brairu::engineConfig(__func__).document());
}

int pvaClearRegisterBuffer(void) {
    brairu::registerBuffer().clear();
    return 1;
}
