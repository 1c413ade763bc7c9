#include "engineSession.h"

#include <random>
#include <vector>

#include "support/scriptedLog.h"
#include "support/scriptedNpu.h"

namespace brairu::test {
namespace {

constexpr std::uint32_t kWidth = 640;
constexpr std::uint32_t kHeight = 480;
constexpr int kCaptures = 3;

}  // namespace

Features featuresOf(int palm) {
    std::minstd_rand random(static_cast<unsigned>(palm));
    Features features{};
    for (std::uint8_t& byte : features) {
        byte = static_cast<std::uint8_t>(random() >> 8);
    }
    return features;
}

EngineSession::EngineSession() {
    ScriptedNpu::reset();
    scriptHand();
    folder_.document["database"]["regis_max_count"] = kCaptures;
    folder_.document["handpose"]["dynamic_detection_level"] = 0;
}

ChildResult EngineSession::freshly(const std::function<void()>& action) {
    ScriptedLog::clear();
    const ChildResult result = inChild([&] {
        ScriptedLog::echo(true);
        action();
    });
    EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
    return result;
}

void EngineSession::start() const {
    ASSERT_EQ(init_pva(folder_.writeConfig().c_str()), 1u);
}

Features EngineSession::capture(const Features& features) {
    scriptFeatures(features);
    std::vector<std::uint8_t> frame(kWidth * kHeight, 100);
    PvaHandPose pose{};
    EXPECT_EQ(pvaGetHandPose(frame.data(), kWidth, kHeight, &pose), 1u);
    Features written{};
    EXPECT_EQ(pvaGetFeat(frame.data(), kWidth, kHeight, &pose, written.data()), 0u);
    return written;
}

void EngineSession::enrol(const PvaUserKey& key, const Features& features) {
    PvaRegisterResult result{};
    for (int i = 0; i < kCaptures; ++i) {
        EXPECT_EQ(pvaRegister(&key, capture(features).data(), 1, &result), 1);
    }
    EXPECT_EQ(result.status, PVA_REGISTER_COMMITTED);
}

}  // namespace brairu::test
