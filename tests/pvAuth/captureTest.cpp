#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "brairu.h"
#include "publishedEngine.h"
#include "support/captureOutput.h"
#include "support/childProcess.h"
#include "support/poseOutput.h"
#include "support/scriptedLog.h"

namespace brairu {
namespace {

using test::HandRow;
using test::kUprightHand;
using test::LogLine;
using test::mirrored;
using test::NetworkPoint;
using test::PoseOutput;
using test::PublishedEngine;
using test::ScriptedLog;
using test::ScriptedTensor;
using test::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kWidth = 640;
constexpr std::uint32_t kHeight = 480;

std::vector<ScriptedTensor> outputOf(const HandRow& hand) {
    return {{PoseOutput(336).put(100, hand).bytes(), {}}};
}

PvaHandPose untouched() {
    PvaHandPose pose;
    std::memset(&pose, 0x77, sizeof pose);
    return pose;
}

bool isUntouched(const PvaHandPose& pose) {
    const PvaHandPose expected = untouched();
    return std::memcmp(&pose, &expected, sizeof pose) == 0;
}

// A finger on the side of the palm: found, not usable.
std::array<NetworkPoint, 7> unusableHand() {
    std::array<NetworkPoint, 7> points = kUprightHand;
    points[3].y = 70;
    return points;
}

class Capture : public PublishedEngine {
protected:
    std::uint32_t pose(PvaHandPose& result) {
        return pvaGetHandPose(plane_.data(), kWidth, kHeight, &result);
    }
    std::uint32_t poses(PvaHandPose& first, PvaHandPose& second) {
        return pvaGetHandPoseVeinAndPrints(plane_.data(), kWidth, kHeight, &first, other_.data(),
                                           kWidth, kHeight, &second);
    }
    std::uint32_t features(PvaHandPose& pose) {
        return pvaGetFeat(plane_.data(), kWidth, kHeight, &pose, features_.data());
    }
    // What the hand network finds in the image that is looked at first, and in the one after it.
    void finds(const HandRow& first, const HandRow& second) {
        handNetwork().outputsOfRun = {outputOf(first), outputOf(second)};
        publish();
    }

    std::vector<std::uint8_t> plane_ = std::vector<std::uint8_t>(kWidth * kHeight, 100);
    std::vector<std::uint8_t> other_ = std::vector<std::uint8_t>(kWidth * kHeight, 200);
    std::vector<std::uint8_t> features_ = std::vector<std::uint8_t>(PVA_FEATURE_BYTES, 0xee);
};

// ---- pvaGetHandPose

TEST_F(Capture, FindsAUsableHand) {
    publish();
    PvaHandPose result = untouched();
    EXPECT_EQ(pose(result), 1u);
    EXPECT_EQ(result.centerX, 312);
    EXPECT_EQ(result.orientation, 0);
}

TEST_F(Capture, LeavesThePlacementCodeOfASingleImageAlone) {
    publish();
    PvaHandPose result = untouched();
    EXPECT_EQ(pose(result), 1u);
    EXPECT_EQ(result.placementCode, untouched().placementCode);
}

TEST_F(Capture, DoesNotBoostASingleImage) {
    handNetwork().outputs = outputOf({59, kUprightHand});
    publish();
    PvaHandPose result = untouched();
    EXPECT_EQ(pose(result), 0u);
    EXPECT_TRUE(isUntouched(result));
}

TEST_F(Capture, FillsTheRecordOfAHandThatIsNotUsable) {
    handNetwork().outputs = outputOf({90, unusableHand()});
    publish();
    PvaHandPose result = untouched();
    EXPECT_EQ(pose(result), 0u);
    EXPECT_EQ(result.centerX, 312);
    EXPECT_EQ(result.orientation, untouched().orientation);
}

// ---- pvaGetHandPoseVeinAndPrints

TEST_F(Capture, LooksAtTheSecondImageFirst) {
    publish();
    PvaHandPose first{};
    PvaHandPose second{};
    EXPECT_EQ(poses(first, second), 1u);
    ASSERT_EQ(npu().frames.size(), 2u);
    EXPECT_EQ(npu().frames[0][0], 200);
    EXPECT_EQ(npu().frames[1][0], 100);
}

TEST_F(Capture, FillsEachRecordFromItsOwnImage) {
    finds({90, mirrored(kUprightHand)}, {90, kUprightHand});
    PvaHandPose first = untouched();
    PvaHandPose second = untouched();
    EXPECT_EQ(poses(first, second), 1u);
    EXPECT_EQ(first.orientation, 0);
    EXPECT_EQ(second.orientation, 1);
    EXPECT_EQ(first.placementCode, 0u);
    EXPECT_EQ(second.placementCode, 0u);
}

TEST_F(Capture, BoostsTheSecondImageOnly) {
    finds({50, kUprightHand}, {59, kUprightHand});
    PvaHandPose first = untouched();
    PvaHandPose second = untouched();
    EXPECT_EQ(poses(first, second), 0u);
    EXPECT_EQ(second.centerX, 312) << "60 with the boost";
    EXPECT_TRUE(isUntouched(first)) << "59 without";
}

TEST_F(Capture, ReportsTheFirstImageOnly) {
    finds({90, unusableHand()}, {90, kUprightHand});
    PvaHandPose first{};
    PvaHandPose second = untouched();
    EXPECT_EQ(poses(first, second), 1u);
    EXPECT_EQ(second.centerX, 312) << "filled, though not usable";
    EXPECT_EQ(second.placementCode, 0u);
}

TEST_F(Capture, GivesTheSecondRecordACodeEvenWithoutAHand) {
    finds({1, kUprightHand}, {90, kUprightHand});
    PvaHandPose first{};
    PvaHandPose second{};
    second.centerX = 5;
    second.centerY = 240;
    second.width = 100;
    second.height = 100;
    second.placementCode = 99;
    EXPECT_EQ(poses(first, second), 1u);
    EXPECT_EQ(second.placementCode, 1u) << "of the box that was there";
    EXPECT_EQ(second.centerX, 5);
    EXPECT_EQ(second.width, 100);
}

TEST_F(Capture, LeavesTheFirstCodeAloneWithoutAUsableHand) {
    finds({90, kUprightHand}, {90, unusableHand()});
    PvaHandPose first = untouched();
    PvaHandPose second = untouched();
    EXPECT_EQ(poses(first, second), 0u);
    EXPECT_EQ(first.placementCode, untouched().placementCode);
    EXPECT_EQ(first.centerX, 312) << "filled";
    EXPECT_EQ(second.placementCode, 0u);
}

TEST_F(Capture, GivesBothRecordsTheirCodes) {
    folder_.document["handpose"]["vertical_offset_tolerance"] = 0.995;
    publish();
    PvaHandPose first = untouched();
    PvaHandPose second = untouched();
    EXPECT_EQ(poses(first, second), 1u) << "the call reports the detection only";
    EXPECT_EQ(first.placementCode, 3u);
    EXPECT_EQ(second.placementCode, 3u);
}

TEST_F(Capture, TakesImagesOfDifferentSizes) {
    publish();
    PvaHandPose first{};
    PvaHandPose second{};
    EXPECT_EQ(pvaGetHandPoseVeinAndPrints(plane_.data(), 640, 480, &first, other_.data(), 128, 128,
                                          &second),
              1u);
    EXPECT_EQ(first.keyPoints[1].x, 210);
    EXPECT_EQ(second.keyPoints[1].x, 42);
}

// ---- pvaGetFeat

TEST_F(Capture, WritesTheFeaturesOfTheHand) {
    const auto block = [](int value) {
        return std::vector<ScriptedTensor>{
            {std::vector<std::uint8_t>(512, static_cast<std::uint8_t>(value)), {}}};
    };
    npu().networks[0].outputs = block(3);
    npu().networks[1].outputsOfRun = {block(1), block(2)};
    publish();
    PvaHandPose found{};
    ASSERT_EQ(pose(found), 1u);
    npu().processed.clear();
    found.placementCode = 99;
    EXPECT_EQ(features(found), 0u);
    EXPECT_EQ(found.placementCode, 0u);
    EXPECT_THAT(npu().processed, ElementsAre(0u, 1u, 1u));
    for (std::size_t i = 0; i < PVA_FEATURE_BYTES; ++i) {
        ASSERT_EQ(features_[i], i / 512 + 1) << i;
    }
}

TEST_F(Capture, MovesTheCentreOfTheRecord) {
    for (const std::size_t network : {0u, 1u}) {
        npu().networks[network].outputs = {{std::vector<std::uint8_t>(512), {}}};
    }
    publish();
    PvaHandPose found{};
    ASSERT_EQ(pose(found), 1u);
    EXPECT_EQ(features(found), 0u);
    EXPECT_EQ(found.centerX, 312 - 25);
    EXPECT_EQ(found.centerY, 260 - 12);
}

TEST_F(Capture, ReturnsThePlacementCodeAndLeavesTheFeaturesAlone) {
    publish();
    PvaHandPose found{};
    ASSERT_EQ(pose(found), 1u);
    found.centerX = 635;
    EXPECT_EQ(features(found), 2u);
    EXPECT_EQ(found.placementCode, 2u);
    EXPECT_EQ(features_, std::vector<std::uint8_t>(PVA_FEATURE_BYTES, 0xee));
}

TEST_F(Capture, ReturnsTheQualityCode) {
    publish();
    PvaHandPose found{};
    ASSERT_EQ(pose(found), 1u);
    std::fill(plane_.begin(), plane_.end(), std::uint8_t{3});
    EXPECT_EQ(features(found), 6u);
    EXPECT_EQ(found.placementCode, 6u);
    EXPECT_EQ(features_, std::vector<std::uint8_t>(PVA_FEATURE_BYTES, 0xee));
}

// ---- What every call refuses

TEST_F(Capture, LogsAndRefusesWhatItCannotLookAt) {
    publish();
    PvaHandPose result = untouched();
    const LogLine line{6, "pva",
                       "pvaGetHandPose: null pointer, or a frame without width or height\r\n"};
    constexpr std::uint32_t kTooLarge = 0x80000000;
    EXPECT_EQ(pvaGetHandPose(nullptr, kWidth, kHeight, &result), 0u);
    EXPECT_EQ(pvaGetHandPose(plane_.data(), kWidth, kHeight, nullptr), 0u);
    EXPECT_EQ(pvaGetHandPose(plane_.data(), 0, kHeight, &result), 0u);
    EXPECT_EQ(pvaGetHandPose(plane_.data(), kWidth, 0, &result), 0u);
    EXPECT_EQ(pvaGetHandPose(plane_.data(), kTooLarge, 1, &result), 0u);
    EXPECT_THAT(ScriptedLog::lines(), ElementsAre(line, line, line, line, line));
    EXPECT_TRUE(isUntouched(result));
    EXPECT_THAT(npu().calls, IsEmpty());
}

TEST_F(Capture, LogsAndRefusesAPairOfWhichItCannotLookAtOne) {
    publish();
    PvaHandPose first = untouched();
    PvaHandPose second = untouched();
    const LogLine line{6, "pva",
                       "pvaGetHandPoseVeinAndPrints: null pointer, or a frame without width or "
                       "height\r\n"};
    const auto call = [&](const std::uint8_t* image1, std::uint32_t width1, PvaHandPose* pose1,
                          const std::uint8_t* image2, std::uint32_t height2, PvaHandPose* pose2) {
        ScriptedLog::clear();
        EXPECT_EQ(pvaGetHandPoseVeinAndPrints(image1, width1, kHeight, pose1, image2, kWidth,
                                              height2, pose2),
                  0u);
        EXPECT_THAT(ScriptedLog::lines(), ElementsAre(line));
    };
    call(nullptr, kWidth, &first, other_.data(), kHeight, &second);
    call(plane_.data(), 0, &first, other_.data(), kHeight, &second);
    call(plane_.data(), kWidth, nullptr, other_.data(), kHeight, &second);
    call(plane_.data(), kWidth, &first, nullptr, kHeight, &second);
    call(plane_.data(), kWidth, &first, other_.data(), 0, &second);
    call(plane_.data(), kWidth, &first, other_.data(), kHeight, nullptr);
    EXPECT_TRUE(isUntouched(first));
    EXPECT_TRUE(isUntouched(second));
    EXPECT_THAT(npu().calls, IsEmpty());
}

TEST_F(Capture, LogsAndRefusesFeaturesOfWhatItCannotLookAt) {
    publish();
    PvaHandPose result = untouched();
    std::uint8_t* image = plane_.data();
    std::uint8_t* output = features_.data();
    const LogLine line{6, "pva",
                       "pvaGetFeat: null pointer, or a frame without width or height\r\n"};
    EXPECT_EQ(pvaGetFeat(nullptr, kWidth, kHeight, &result, output), 15u);
    EXPECT_EQ(pvaGetFeat(image, 0, kHeight, &result, output), 15u);
    EXPECT_EQ(pvaGetFeat(image, kWidth, 0, &result, output), 15u);
    EXPECT_EQ(pvaGetFeat(image, kWidth, kHeight, nullptr, output), 15u);
    EXPECT_EQ(pvaGetFeat(image, kWidth, kHeight, &result, nullptr), 15u);
    EXPECT_THAT(ScriptedLog::lines(), ElementsAre(line, line, line, line, line));
    EXPECT_TRUE(isUntouched(result));
    EXPECT_EQ(features_, std::vector<std::uint8_t>(PVA_FEATURE_BYTES, 0xee));
}

TEST_F(Capture, ThrowsWhileTheEngineIsNotStarted) {
    PvaHandPose first{};
    PvaHandPose second{};
    EXPECT_EQ(thrownBy<std::logic_error>([&] { pose(first); }),
              "pvaGetHandPose: the engine is not started; call init_pva first");
    EXPECT_EQ(thrownBy<std::logic_error>([&] { poses(first, second); }),
              "pvaGetHandPoseVeinAndPrints: the engine is not started; call init_pva first");
    EXPECT_EQ(thrownBy<std::logic_error>([&] { features(first); }),
              "pvaGetFeat: the engine is not started; call init_pva first");
}

TEST_F(Capture, LetsErrorsOfTheConfigurationThrough) {
    folder_.document["handpose"]["model_probability_threshold"] = "high";
    folder_.document["handpose"]["hand_size_width_min"] = nullptr;
    publish();
    PvaHandPose first{};
    PvaHandPose second{};
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>([&] { pose(first); }),
              "[json.exception.type_error.302] type must be number, but is string");
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>([&] { poses(first, second); }),
              "[json.exception.type_error.302] type must be number, but is string");
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>([&] { features(first); }),
              "[json.exception.type_error.302] type must be number, but is null");
}

TEST_F(Capture, EndsTheProcessOnAFaultOfTheStack) {
    publish();
    npu().failCall("vxProcessGraph");
    PvaHandPose result{};
    const test::ChildResult child = test::inChild([&] { pose(result); });
    EXPECT_EQ(child.exitStatus, 1);
    EXPECT_THAT(child.out, testing::MatchesRegex("ERROR: failed with status = \\(-7\\) at "
                                                 "src/handPose\\.cpp#[1-9][0-9]*\n"));
}

}  // namespace
}  // namespace brairu
