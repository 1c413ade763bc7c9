// Exceptions that leave the shared library and are caught by a host written in C++.
#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "brairu.h"
#include "support/captureOutput.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

struct EngineCall {
    std::string name;
    std::function<void()> run;
};

void PrintTo(const EngineCall& call, std::ostream* stream) {
    *stream << call.name;
}

// Nothing but the address of what the calls are handed is used: they must not get further.
std::uint8_t bytes[PVA_TEMPLATE_BYTES];
PvaHandPose pose;
PvaUserKey key;
PvaRegisterResult registerResult;
PvaAuthResult authResult;
std::int64_t palmIndexes[1];
int count;

const EngineCall kEngineCalls[] = {
    {"pvaConfigSetAuthThreshold", [] { pvaConfigSetAuthThreshold(0.5f); }},
    {"pvaConfigSetHandThreshold", [] { pvaConfigSetHandThreshold(0.5f); }},
    {"pvaConfigSetBrightnessThresholdMin", [] { pvaConfigSetBrightnessThresholdMin(1); }},
    {"pvaConfigSetBrightnessThresholdMax", [] { pvaConfigSetBrightnessThresholdMax(1); }},
    {"pvaConfigSetBlurThresholdMin", [] { pvaConfigSetBlurThresholdMin(1); }},
    {"pvaConfigSetBlurThresholdMax", [] { pvaConfigSetBlurThresholdMax(1); }},
    {"pvaConfigSetHorizontalOffsetTolerance", [] { pvaConfigSetHorizontalOffsetTolerance(0.1f); }},
    {"pvaConfigSetVerticalOffsetTolerance", [] { pvaConfigSetVerticalOffsetTolerance(0.1f); }},
    {"pvaConfigSetHandSizeWidthMin", [] { pvaConfigSetHandSizeWidthMin(0.1f); }},
    {"pvaConfigSetHandSizeWidthMax", [] { pvaConfigSetHandSizeWidthMax(0.1f); }},
    {"pvaConfigSetHandSizeHeightMin", [] { pvaConfigSetHandSizeHeightMin(0.1f); }},
    {"pvaConfigSetHandSizeHeightMax", [] { pvaConfigSetHandSizeHeightMax(0.1f); }},
    {"pvaConfigSetEnhance", [] { pvaConfigSetEnhance(1); }},
    {"pvaConfigSetRegisCenterCount", [] { pvaConfigSetRegisCenterCount(1); }},
    {"pvaConfigSetRegisMaxCount", [] { pvaConfigSetRegisMaxCount(1); }},
    {"pvaConfigSetDynamicDetectionLevel", [] { pvaConfigSetDynamicDetectionLevel(1); }},
    {"pvaGetHandPose", [] { pvaGetHandPose(bytes, 2, 2, &pose); }},
    {"pvaGetHandPoseVeinAndPrints",
     [] { pvaGetHandPoseVeinAndPrints(bytes, 2, 2, &pose, bytes, 2, 2, &pose); }},
    {"pvaGetFeat", [] { pvaGetFeat(bytes, 2, 2, &pose, bytes); }},
    {"pvaRegister", [] { pvaRegister(&key, bytes, 0, &registerResult); }},
    {"pvaGetRegisterBufferCapacity", [] { pvaGetRegisterBufferCapacity(); }},
    {"pvaGetAuthRes", [] { pvaGetAuthRes(bytes, &authResult); }},
    {"pvaGet1to1AuthRes", [] { pvaGet1to1AuthRes(bytes, bytes, &authResult); }},
    {"pvaDataBaseDeleteAllPalm", [] { pvaDataBaseDeleteAllPalm(); }},
    {"pvaDataBaseDropPalmDatabase", [] { pvaDataBaseDropPalmDatabase(); }},
    {"pvaDataBaseDeletePalmDatabase", [] { pvaDataBaseDeletePalmDatabase(); }},
    {"pvaDataBaseGetAllPalmCount", [] { pvaDataBaseGetAllPalmCount(); }},
    {"pvaDataBaseExistUser", [] { pvaDataBaseExistUser(&key); }},
    {"pvaDataBaseAddUser", [] { pvaDataBaseAddUser(&key, bytes); }},
    {"pvaDataBaseUpdateUser", [] { pvaDataBaseUpdateUser(&key, bytes); }},
    {"pvaDataBaseAddUserWithFeatSize",
     [] { pvaDataBaseAddUserWithFeatSize(&key, bytes, PVA_TEMPLATE_BYTES); }},
    {"pvaDataBaseUpdateUserWithFeatSize",
     [] { pvaDataBaseUpdateUserWithFeatSize(&key, bytes, PVA_TEMPLATE_BYTES); }},
    {"pvaDataBaseGetFeatWithFeatSize",
     [] { pvaDataBaseGetFeatWithFeatSize(&key, bytes, PVA_TEMPLATE_BYTES); }},
    {"pvaDataBaseGetFeat", [] { pvaDataBaseGetFeat(&key, bytes); }},
    {"pvaDataBaseDeleteUser", [] { pvaDataBaseDeleteUser(&key); }},
    {"pvaDataBaseGetPalmNumFromUserId",
     [] { pvaDataBaseGetPalmNumFromUserId(1, palmIndexes, 1, &count); }},
};

class CallWithoutEngine : public testing::TestWithParam<EngineCall> {};

TEST_P(CallWithoutEngine, ThrowsALogicErrorThatNamesTheCall) {
    deinit_pva();
    try {
        GetParam().run();
        FAIL() << "no exception";
    } catch (const std::logic_error& fault) {
        EXPECT_EQ(fault.what(),
                  GetParam().name + ": the engine is not started; call init_pva first");
    }
}

// Twice: a call that left the lock behind would wait for ever.
TEST_P(CallWithoutEngine, ThrowsAgain) {
    EXPECT_THROW(GetParam().run(), std::logic_error);
    EXPECT_THROW(GetParam().run(), std::logic_error);
}

INSTANTIATE_TEST_SUITE_P(Exports, CallWithoutEngine, testing::ValuesIn(kEngineCalls),
                         [](const auto& call) { return call.param.name; });

TEST(Boundary, CallsThatNeedNoEngineWorkWithoutOne) {
    EXPECT_EQ(deinit_pva(), 1u);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
    EXPECT_EQ(pvaClearRegisterBuffer(), 1);
}

TEST(Boundary, HostCatchesTheLogicErrorOfANullPath) {
    EXPECT_THROW(init_pva(nullptr), std::logic_error);
    deinit_pva();
}

TEST(Boundary, HostCatchesTheTypeErrorOfAMissingConfiguration) {
    const TemporaryFolder folder;
    const std::string path = folder.file("missing.json");
    int id = 0;
    EXPECT_EQ(stdoutOf([&] {
                  try {
                      init_pva(path.c_str());
                  } catch (const nlohmann::json::type_error& fault) {
                      id = fault.id;
                  }
              }),
              "Failed to open config file: " + path + "\n");
    EXPECT_EQ(id, 302);
    deinit_pva();
}

}  // namespace
}  // namespace brairu::test
