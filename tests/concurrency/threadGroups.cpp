#include "threadGroups.h"

#include <gtest/gtest.h>

#include <array>

#include "lockedCalls.h"
#include "startedEngine.h"

namespace brairu::test {
namespace {

constexpr std::uint32_t kWidth = 640;
constexpr std::uint32_t kHeight = 480;

// ---- Any number of threads

// What they return depends on the others; whether it can is asked elsewhere.
void makeLocked(const LockedCall& call, SeededRandom& random) {
    call.make({{random.between(1, 3), random.between(1, 2), {}},
               random.between(0, kSamples - 1),
               random.between(0, kSamples - 1),
               random.coin()});
}

ThreadGroup locked() {
    ThreadGroup group{"locked", true, {}};
    for (const LockedCall& call : lockedCalls()) {
        if (std::string(call.name) != "pvaRegister") {
            group.calls.push_back(
                {call.name, [&call](SeededRandom& random) { makeLocked(call, random); }});
        }
    }
    return group;
}

void compare(SeededRandom& random) {
    const int sample = random.between(0, kSamples - 1);
    const auto& probe = captureOfSample(sample, random.coin());
    PvaAuthResult result{};
    EXPECT_EQ(pvaGet1to1AuthRes(probe.data(), templateOfSample(sample).data(), &result), 1);
    EXPECT_GT(result.similarity, kThreshold);
    const int other = (sample + 1) % kSamples;
    EXPECT_EQ(pvaGet1to1AuthRes(probe.data(), templateOfSample(other).data(), &result), 0);
    EXPECT_LT(result.similarity, kThreshold);
}

// ---- One thread

std::vector<std::uint8_t>& frame() {
    static std::vector<std::uint8_t> frame(kWidth * kHeight, 100);
    return frame;
}

void findHand(SeededRandom&) {
    PvaHandPose pose{};
    EXPECT_EQ(pvaGetHandPose(frame().data(), kWidth, kHeight, &pose), 1U);
    EXPECT_EQ(pose.centerX, 312);
}

void findTwoHands(SeededRandom&) {
    PvaHandPose first{};
    PvaHandPose second{};
    EXPECT_EQ(pvaGetHandPoseVeinAndPrints(frame().data(), kWidth, kHeight, &first, frame().data(),
                                          kWidth, kHeight, &second),
              1U);
    EXPECT_EQ(first.centerX, second.centerX);
}

void extractFeatures(SeededRandom&) {
    PvaHandPose pose{};
    EXPECT_EQ(pvaGetHandPose(frame().data(), kWidth, kHeight, &pose), 1U);
    std::array<std::uint8_t, PVA_FEATURE_BYTES> features{};
    EXPECT_EQ(pvaGetFeat(frame().data(), kWidth, kHeight, &pose, features.data()), 0U);
    EXPECT_EQ(features.front(), 2);
    EXPECT_EQ(features.back(), 1);
}

void enrol(SeededRandom& random) {
    const Arguments palm{{4, 1, {}}, random.between(0, kSamples - 1), 0, false};
    const Outcome expected{PVA_REGISTER_COMMITTED, {kCaptures, kCaptures}, {}};
    EXPECT_EQ(lockedCall("pvaRegister").make(palm), expected);
}

// One capture of an enrolment that is then given up.
void bufferOneCapture(SeededRandom&) {
    const PvaUserKey key{4, 2, {}};
    PvaRegisterResult progress{};
    EXPECT_EQ(pvaRegister(&key, captureOfSample(0, false).data(), 0, &progress), 1);
    EXPECT_EQ(progress.status, PVA_REGISTER_MORE);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 1);
}

void clearBuffer(SeededRandom&) {
    EXPECT_EQ(pvaClearRegisterBuffer(), 1);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
}

void askCapacity(SeededRandom&) {
    EXPECT_EQ(pvaGetRegisterBufferCapacity(), kCaptures);
}

// ---- Alone

GroupedCall setter(const char* name, std::uint32_t (*set)(float), float value) {
    return {name, [=](SeededRandom&) { EXPECT_EQ(set(value), 1U); }};
}

GroupedCall setter(const char* name, std::uint32_t (*set)(std::uint32_t), std::uint32_t value) {
    return {name, [=](SeededRandom&) { EXPECT_EQ(set(value), 1U); }};
}

}  // namespace

const std::vector<ThreadGroup>& groupsSideBySide() {
    static const std::vector<ThreadGroup> groups{
        locked(),
        {"compare", true, {{"pvaGet1to1AuthRes", compare}}},
        {"enrol",
         false,
         {{"pvaRegister", enrol},
          {"pvaGetRegisterBufferSize", bufferOneCapture},
          {"pvaClearRegisterBuffer", clearBuffer},
          {"pvaGetRegisterBufferCapacity", askCapacity}}},
        {"capture",
         false,
         {{"pvaGetHandPose", findHand},
          {"pvaGetHandPoseVeinAndPrints", findTwoHands},
          {"pvaGetFeat", extractFeatures}}},
    };
    return groups;
}

// The setters set what is set already, or what the calls of the other groups do not look at.
const ThreadGroup& groupAlone() {
    static const ThreadGroup group{
        "alone",
        false,
        {{"deinit_pva", [](SeededRandom&) { EXPECT_EQ(deinit_pva(), 1U); }},
         {"init_pva", [](SeededRandom&) { StartedEngine::start(StartedEngine::usualSettings()); }},
         setter("pvaConfigSetAuthThreshold", pvaConfigSetAuthThreshold, kThreshold),
         setter("pvaConfigSetHandThreshold", pvaConfigSetHandThreshold, 0.605F),
         setter("pvaConfigSetBrightnessThresholdMin", pvaConfigSetBrightnessThresholdMin, 10U),
         setter("pvaConfigSetBrightnessThresholdMax", pvaConfigSetBrightnessThresholdMax, 250U),
         setter("pvaConfigSetBlurThresholdMin", pvaConfigSetBlurThresholdMin, 1U),
         setter("pvaConfigSetBlurThresholdMax", pvaConfigSetBlurThresholdMax, 2U),
         setter("pvaConfigSetHorizontalOffsetTolerance", pvaConfigSetHorizontalOffsetTolerance,
                0.025F),
         setter("pvaConfigSetVerticalOffsetTolerance", pvaConfigSetVerticalOffsetTolerance, 0.025F),
         setter("pvaConfigSetHandSizeWidthMin", pvaConfigSetHandSizeWidthMin, 0.105F),
         setter("pvaConfigSetHandSizeWidthMax", pvaConfigSetHandSizeWidthMax, 0.805F),
         setter("pvaConfigSetHandSizeHeightMin", pvaConfigSetHandSizeHeightMin, 0.105F),
         setter("pvaConfigSetHandSizeHeightMax", pvaConfigSetHandSizeHeightMax, 0.805F),
         setter("pvaConfigSetEnhance", pvaConfigSetEnhance, 1U),
         setter("pvaConfigSetRegisCenterCount", pvaConfigSetRegisCenterCount, kCentres),
         setter("pvaConfigSetRegisMaxCount", pvaConfigSetRegisMaxCount, kCaptures),
         setter("pvaConfigSetDynamicDetectionLevel", pvaConfigSetDynamicDetectionLevel, 0U)}};
    return group;
}

}  // namespace brairu::test
