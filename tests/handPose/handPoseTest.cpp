#include "handPose.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "support/captureOutput.h"
#include "support/childProcess.h"
#include "support/engineFolder.h"
#include "support/poseOutput.h"
#include "support/scriptedNpu.h"

namespace brairu {
namespace {

using test::ChildResult;
using test::EngineFolder;
using test::HandRow;
using test::inChild;
using test::kUprightHand;
using test::mirrored;
using test::PoseOutput;
using test::ScriptedNetwork;
using test::ScriptedNpu;
using test::stdoutOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::MatchesRegex;

constexpr std::size_t kFeatureNetwork = 0;
constexpr std::size_t kSupportNetwork = 1;
constexpr std::size_t kHandNetwork = 2;
constexpr int kRowsOf128 = 336;
constexpr int kHandlesPerNetwork = 5;
constexpr int kMinusOne = 255;
constexpr FrameSize kFrame{640, 480};
constexpr char kHandFaultLine[] =
    "(.|\n)*ERROR: failed with status = \\(-7\\) at src/handPose\\.cpp#[1-9][0-9]*\n";

// Greys from 80 to 160 without a pattern that scaling would repeat.
std::vector<std::uint8_t> texturedPlane(FrameSize frame) {
    std::vector<std::uint8_t> plane(static_cast<std::size_t>(frame.width * frame.height));
    for (std::size_t i = 0; i < plane.size(); ++i) {
        plane[i] = static_cast<std::uint8_t>(80 + i * i % 81);
    }
    return plane;
}

// A record that no detection left as it is.
PvaHandPose untouched() {
    PvaHandPose pose{};
    pose.centerX = 111;
    pose.width = 222;
    pose.keyPoints[4] = {33, 44};
    pose.placementCode = 55;
    pose.orientation = 66;
    return pose;
}

bool areEqual(const PvaHandPose& a, const PvaHandPose& b) {
    const auto pointsEqual = [](const PvaPoint& p, const PvaPoint& q) {
        return p.x == q.x && p.y == q.y;
    };
    return a.centerX == b.centerX && a.centerY == b.centerY && a.width == b.width &&
           a.height == b.height && a.placementCode == b.placementCode &&
           a.orientation == b.orientation &&
           std::equal(std::begin(a.keyPoints), std::end(a.keyPoints), std::begin(b.keyPoints),
                      pointsEqual);
}

class HandPoseTest : public testing::Test {
protected:
    HandPoseTest() {
        ScriptedNpu::reset();
        for (const std::size_t network : {kFeatureNetwork, kSupportNetwork}) {
            npu().networks[network].outputs = {
                {std::vector<std::uint8_t>(512, static_cast<std::uint8_t>(network + 1)), {}}};
        }
        outputs(PoseOutput(kRowsOf128).put(100, {90, kUprightHand}));
    }
    ~HandPoseTest() override {
        stdoutOf([&] { detector_.reset(); });
    }

    static ScriptedNpu& npu() { return ScriptedNpu::get(); }
    static ScriptedNetwork& hand() { return npu().networks[kHandNetwork]; }
    static void outputs(const PoseOutput& output) { hand().outputs = {{output.bytes(), {}}}; }

    auto& handConfig() { return folder_.document["handpose"]; }

    HandPose& start() {
        stdoutOf([&] { detector_ = std::make_unique<HandPose>(folder_.document); });
        npu().calls.clear();
        return *detector_;
    }
    HandPose& detector() { return detector_ ? *detector_ : start(); }

    bool detect(PvaHandPose& pose, bool boost = false) {
        return detector().detect(plane_.data(), kFrame, pose, boost);
    }
    bool detect() {
        PvaHandPose pose{};
        return detect(pose);
    }

    // A record as a detection leaves it.
    PvaHandPose detected() {
        PvaHandPose pose{};
        EXPECT_TRUE(detect(pose));
        npu().processed.clear();
        return pose;
    }

    std::uint32_t extract(PvaHandPose& pose) {
        return detector().extractFeatures(plane_.data(), kFrame, pose, features_.data());
    }

    EngineFolder folder_;
    std::vector<std::uint8_t> plane_ = texturedPlane(kFrame);
    std::vector<std::uint8_t> features_ = std::vector<std::uint8_t>(PVA_FEATURE_BYTES, 0xee);
    std::unique_ptr<HandPose> detector_;
};

// ---- Start and end

TEST_F(HandPoseTest, LoadsTheFeatureNetworksThenTheHandNetwork) {
    const std::string printed =
        stdoutOf([&] { detector_ = std::make_unique<HandPose>(folder_.document); });
    const std::string tail = "load model " + folder_.file("support.blobs") + " complete\n" +
                             "model_path_net " + folder_.file("hand.net") + "\r\n" +
                             "model_path_blobs " + folder_.file("hand.blobs") + "\r\n";
    EXPECT_THAT(printed, EndsWith(tail));
    std::vector<std::string> loaded;
    for (const auto& model : npu().models) {
        loaded.emplace_back(model.begin(), model.end());
    }
    EXPECT_THAT(loaded, ElementsAre("feature net", "feature blobs", "support net", "support blobs",
                                    "hand net", "hand blobs"));
    EXPECT_THAT(npu().unloaded, ElementsAre(0u, 1u, 2u, 3u, 4u, 5u));
    EXPECT_EQ(npu().graphsCreated, 3u);
    EXPECT_EQ(npu().liveHandles(), 3 * kHandlesPerNetwork);
}

TEST_F(HandPoseTest, TakesFrameMemoryOfTheConfiguredInput) {
    handConfig()["input_w"] = 256;
    handConfig()["input_h"] = 160;
    start();
    EXPECT_THAT(npu().allocatedBytes, ElementsAre(24'576u, 24'576u, 61'440u));
}

TEST_F(HandPoseTest, GivesBackItsNetworkAndThenTheFeatureNetworks) {
    start();
    EXPECT_EQ(stdoutOf([&] { detector_.reset(); }),
              "release handpose\r\nrelease handpose done\r\nrelease pvauth\r\n");
    EXPECT_EQ(npu().liveHandles(), 0);
    EXPECT_EQ(npu().doubleReleases, 0);
    EXPECT_EQ(npu().callsOf("vxReleaseContext"), 3);
}

TEST_F(HandPoseTest, ReportsFaultsOfGivingBackBetweenItsLines) {
    start();
    npu().failCall("vxReleaseGraph", 1);
    EXPECT_THAT(stdoutOf([&] { detector_.reset(); }),
                MatchesRegex("release handpose\r\nERROR: failed with status = \\(-7\\) at "
                             "src/handPose\\.cpp#[1-9][0-9]*\nrelease handpose done\r\n"
                             "release pvauth\r\n"));
}

TEST_F(HandPoseTest, EveryKeyOfTheStartIsNeededAndNothingIsLeftBehindWithoutOne) {
    for (const char* key : {"model_path_net", "model_path_blobs", "input_w", "input_h"}) {
        nlohmann::ordered_json document = folder_.document;
        document["handpose"].erase(key);
        stdoutOf([&] { EXPECT_THROW(HandPose{document}, nlohmann::json::type_error) << key; });
        EXPECT_EQ(npu().liveHandles(), 0) << key;
        EXPECT_EQ(npu().doubleReleases, 0) << key;
    }
}

TEST_F(HandPoseTest, LeavesTheDocumentThatItStartsFromAlone) {
    folder_.document.erase("database");
    const nlohmann::ordered_json before = folder_.document;
    start();
    EXPECT_EQ(folder_.document, before);
}

struct Fault {
    const char* operation;
    int nth;
};

std::ostream& operator<<(std::ostream& stream, const Fault& fault) {
    return stream << fault.operation << " " << fault.nth;
}

class HandStartFault : public HandPoseTest, public testing::WithParamInterface<Fault> {};

TEST_P(HandStartFault, EndsTheProcessWithTheSourceFile) {
    npu().failCall(GetParam().operation, GetParam().nth);
    const ChildResult result = inChild([&] { HandPose detector(folder_.document); });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.out, MatchesRegex(kHandFaultLine));
}

INSTANTIATE_TEST_SUITE_P(Operations, HandStartFault,
                         testing::Values(Fault{"vxGetStatus", 3}, Fault{"vxLoadKernels", 3},
                                         Fault{"vxVerifyGraph", 3}, Fault{"UnLoadNetModel", 5},
                                         Fault{"UnLoadNetModel", 6}));

class HandAllocationFault
    : public HandPoseTest,
      public testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(HandAllocationFault, EndsTheProcess) {
    const auto [operation, message] = GetParam();
    npu().failCall(operation, 3);
    const ChildResult result = inChild([&] { HandPose detector(folder_.document); });
    EXPECT_EQ(result.exitStatus, kMinusOne);
    EXPECT_THAT(result.out, EndsWith("hand.blobs\r\n" + std::string(message) + "\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Operations, HandAllocationFault,
    testing::Values(std::pair{"AllocateTensorDeviceMemory", "alloc image handle error!"},
                    std::pair{"CreateTensorFromHandle", "create image tensor error!"},
                    std::pair{"vxAllocateDeviceMemory", "alloc memory error!"},
                    std::pair{"GetNetInputBlobs", "this face mode must be one input!"}));

TEST_F(HandPoseTest, ReportsMissingModelsAndEndsAtTheStack) {
    handConfig()["model_path_net"] = folder_.file("no.net");
    handConfig()["model_path_blobs"] = folder_.file("no.blobs");
    const ChildResult result = inChild([&] { HandPose detector(folder_.document); });
    EXPECT_EQ(result.exitStatus, kMinusOne);
    EXPECT_THAT(result.out, EndsWith("model_path_net " + folder_.file("no.net") +
                                     "\r\nmodel_path_blobs " + folder_.file("no.blobs") +
                                     "\r\n无法打开输入文件：\r\nload handpose model net fail!\n"
                                     "无法打开输入文件：\r\nload handpose model blobs fail!\n"
                                     "this face mode must be one input!\n"));
}

// ---- Detecting

TEST_F(HandPoseTest, FindsAHandInFramePixels) {
    PvaHandPose pose = untouched();
    EXPECT_TRUE(detect(pose));
    EXPECT_EQ(pose.keyPoints[1].x, 210);
    EXPECT_EQ(pose.keyPoints[1].y, 356);
    EXPECT_EQ(pose.keyPoints[5].x, 415);
    EXPECT_EQ(pose.keyPoints[5].y, 202);
    EXPECT_EQ(pose.centerX, 312) << "210 to 415, with the margins 189 to 435";
    EXPECT_EQ(pose.width, 295);
    EXPECT_EQ(pose.centerY, 260) << "165 to 356, with the margins 145 to 375";
    EXPECT_EQ(pose.height, 276);
    EXPECT_EQ(pose.orientation, 0);
    EXPECT_EQ(pose.placementCode, 55u) << "not written";
}

TEST_F(HandPoseTest, RunsTheHandNetworkOnce) {
    detect();
    EXPECT_THAT(npu().calls, ElementsAre("vxFlushDeviceMemoryCache", "ImageConvertDeviceProcess",
                                         "SetNetInputBlobsTensor", "vxProcessGraph", "vxFinish",
                                         "GetNetOutputBlobsTensor", "vxQueryTensor",
                                         "vxQueryTensor", "vxQueryTensor", "vxReleaseTensor"));
    EXPECT_THAT(npu().processed, ElementsAre(kHandNetwork));
}

TEST_F(HandPoseTest, HandsOverTheScaledFrame) {
    detect();
    ASSERT_EQ(npu().frames.size(), 1u);
    const std::vector<std::uint8_t>& frame = npu().frames[0];
    ASSERT_EQ(frame.size(), 24'576u);
    for (int y = 0; y < 128; ++y) {
        for (int x = 0; x < 128; ++x) {
            ASSERT_EQ(frame[static_cast<std::size_t>(128 * y + x)],
                      plane_[static_cast<std::size_t>(640 * (y * 480 / 128) + x * 640 / 128)]);
        }
    }
    EXPECT_EQ(std::count(frame.begin() + 16'384, frame.end(), 128), 8192);
}

TEST_F(HandPoseTest, DecodesTheLowerRowOfEqualScores) {
    outputs(PoseOutput(kRowsOf128).put(7, {90, kUprightHand}).put(8, {90, mirrored(kUprightHand)}));
    PvaHandPose pose{};
    EXPECT_TRUE(detect(pose));
    EXPECT_EQ(pose.orientation, 0);
}

TEST_F(HandPoseTest, LeavesTheRecordAloneBelowTheThreshold) {
    outputs(PoseOutput(kRowsOf128).put(100, {59, kUprightHand}));
    PvaHandPose pose = untouched();
    EXPECT_FALSE(detect(pose));
    EXPECT_TRUE(areEqual(pose, untouched()));
}

TEST_F(HandPoseTest, AcceptsAScoreOfTheThreshold) {
    outputs(PoseOutput(kRowsOf128).put(100, {60, kUprightHand}));
    EXPECT_TRUE(detect()) << "0.605 is 60 percent";
}

TEST_F(HandPoseTest, ReadsTheThresholdInSinglePrecision) {
    handConfig()["model_probability_threshold"] = 0.7;
    outputs(PoseOutput(kRowsOf128).put(100, {69, kUprightHand}));
    EXPECT_FALSE(detect()) << "0.7 is 70 percent";
}

TEST_F(HandPoseTest, BoostAddsTenToTheScore) {
    outputs(PoseOutput(kRowsOf128).put(100, {50, kUprightHand}));
    PvaHandPose pose = untouched();
    EXPECT_FALSE(detect(pose, false));
    EXPECT_TRUE(detect(pose, true));
    outputs(PoseOutput(kRowsOf128).put(100, {49, kUprightHand}));
    EXPECT_FALSE(detect(pose, true));
}

TEST_F(HandPoseTest, ReadsScoresUnsigned) {
    outputs(
        PoseOutput(kRowsOf128).put(3, {100, mirrored(kUprightHand)}).put(100, {200, kUprightHand}));
    PvaHandPose pose{};
    EXPECT_TRUE(detect(pose));
    EXPECT_EQ(pose.orientation, 0);
}

TEST_F(HandPoseTest, FillsTheRecordOfAHandThatIsNotUsable) {
    std::array<test::NetworkPoint, 7> points = kUprightHand;
    points[3].y = 70;  // a finger on the side of the palm
    outputs(PoseOutput(kRowsOf128).put(100, {90, points}));
    PvaHandPose pose = untouched();
    EXPECT_FALSE(detect(pose));
    EXPECT_EQ(pose.keyPoints[1].x, 210);
    EXPECT_EQ(pose.centerX, 312);
    EXPECT_EQ(pose.orientation, 66) << "not written";
    EXPECT_EQ(pose.placementCode, 55u);
}

TEST_F(HandPoseTest, FillsTheRecordOfAHandOfFourFifthsOfTheFrame) {
    std::array<test::NetworkPoint, 7> points = kUprightHand;
    for (test::NetworkPoint& point : points) {
        point.x = 64 + (point.x - 63) * 2;
    }
    outputs(PoseOutput(kRowsOf128).put(100, {90, points}));
    PvaHandPose pose = untouched();
    EXPECT_FALSE(detect(pose));
    EXPECT_GE(pose.width, 512);
    EXPECT_LT(pose.height, 384);
    EXPECT_EQ(pose.orientation, 66);
}

TEST_F(HandPoseTest, KeepsTheLayoutOfTheRunBeforeForAnUnknownName) {
    hand().outputNames = {"/model.22/Concat_6"};
    std::array<test::NetworkPoint, 7> quarter = kUprightHand;
    for (test::NetworkPoint& point : quarter) {
        point = {point.x / 4, point.y / 4};
    }
    outputs(PoseOutput(kRowsOf128).put(100, {16, quarter}, 4));
    PvaHandPose first{};
    EXPECT_TRUE(detect(first)) << "a score of 64";
    hand().outputNames = {"something else"};
    PvaHandPose second{};
    EXPECT_TRUE(detect(second));
    EXPECT_TRUE(areEqual(first, second));
    hand().outputNames = {"output0"};
    EXPECT_FALSE(detect());
}

TEST_F(HandPoseTest, StartsWithThePlainLayoutForAnUnknownName) {
    hand().outputNames = {"something else"};
    EXPECT_TRUE(detect());
}

TEST_F(HandPoseTest, TakesTheNameOfTheFirstAndTheBytesOfTheLastOutput) {
    hand().outputNames = {"output0", "/model.22/Concat_6"};
    hand().outputs.insert(hand().outputs.begin(), {{1, 2, 3}, {}});
    PvaHandPose pose{};
    EXPECT_TRUE(detect(pose));
    EXPECT_EQ(pose.centerX, 312);
    EXPECT_EQ(npu().live["tensor"], 3) << "one input a network, every output released";
}

TEST_F(HandPoseTest, ScansTheRowsOfTheConfiguredInput) {
    outputs(PoseOutput(400).put(100, {90, kUprightHand}).put(336, {99, mirrored(kUprightHand)}));
    PvaHandPose pose{};
    EXPECT_TRUE(detect(pose));
    EXPECT_EQ(pose.orientation, 0) << "row 336 is beyond 128 x 128";
}

TEST_F(HandPoseTest, ScansTheRowsOf256x160ForAnInputOutsideTheTable) {
    handConfig()["input_w"] = 160;
    outputs(PoseOutput(900).put(839, {90, kUprightHand}).put(840, {99, mirrored(kUprightHand)}));
    PvaHandPose pose{};
    EXPECT_TRUE(detect(pose));
    EXPECT_EQ(pose.orientation, 0);
    EXPECT_EQ(pose.keyPoints[1].x, 42 * 640 / 160);
}

TEST_F(HandPoseTest, ScansNoMoreThanTheTensorHas) {
    outputs(PoseOutput(5).put(4, {90, kUprightHand}));
    EXPECT_TRUE(detect());
    hand().outputs = {{std::vector<std::uint8_t>(31, 90), {}}};
    EXPECT_FALSE(detect());
    hand().outputs = {{{}, {}}};
    EXPECT_FALSE(detect());
}

TEST_F(HandPoseTest, KeepsTheInputSizeThatItWasPreparedWith) {
    start();
    handConfig()["input_w"] = 256;
    handConfig()["input_h"] = 160;
    detector().refreshConfig(folder_.document);
    outputs(PoseOutput(840).put(700, {90, kUprightHand}));
    PvaHandPose pose{};
    EXPECT_TRUE(detect(pose)) << "the number of rows follows the configuration";
    EXPECT_EQ(pose.centerX, 312) << "the scale does not";
    EXPECT_THAT(npu().flushedBytes, ElementsAre(24'576u));
}

TEST_F(HandPoseTest, ReadsTheThresholdFromItsCopy) {
    start();
    folder_.document["handpose"]["model_probability_threshold"] = 0.95;
    EXPECT_TRUE(detect()) << "a change elsewhere does not reach it";
    detector().refreshConfig(folder_.document);
    EXPECT_FALSE(detect());
}

TEST_F(HandPoseTest, RaisesForMissingKeysWithEveryOutputReleased) {
    for (const char* key : {"input_w", "input_h", "model_probability_threshold"}) {
        start();
        nlohmann::ordered_json document = folder_.document;
        document["handpose"].erase(key);
        detector().refreshConfig(document);
        PvaHandPose pose = untouched();
        EXPECT_THROW(detect(pose), nlohmann::json::type_error) << key;
        EXPECT_TRUE(areEqual(pose, untouched())) << key;
        EXPECT_EQ(npu().liveHandles(), 3 * kHandlesPerNetwork) << key;
        stdoutOf([&] { detector_.reset(); });
        ScriptedNpu::get().graphsCreated = 0;
    }
}

TEST_F(HandPoseTest, DetectsInFramesOfAnySize) {
    start();
    for (const FrameSize frame : {FrameSize{1, 1}, {3, 5}, {127, 129}, {1281, 719}}) {
        std::vector<std::uint8_t> plane(static_cast<std::size_t>(frame.width * frame.height), 100);
        const std::vector<std::uint8_t> before = plane;
        PvaHandPose pose{};
        detector().detect(plane.data(), frame, pose, false);
        EXPECT_EQ(plane, before);
    }
}

class DetectFault : public HandPoseTest, public testing::WithParamInterface<Fault> {};

TEST_P(DetectFault, EndsTheProcessWithTheSourceFile) {
    start();
    npu().failCall(GetParam().operation, GetParam().nth);
    const ChildResult result = inChild([&] { detect(); });
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.out, MatchesRegex(kHandFaultLine));
}

INSTANTIATE_TEST_SUITE_P(Operations, DetectFault,
                         testing::Values(Fault{"vxFlushDeviceMemoryCache", 1},
                                         Fault{"ImageConvertDeviceProcess", 1},
                                         Fault{"SetNetInputBlobsTensor", 1},
                                         Fault{"vxProcessGraph", 1}, Fault{"vxFinish", 1},
                                         Fault{"GetNetOutputBlobsTensor", 1},
                                         Fault{"vxQueryTensor", 1}, Fault{"vxQueryTensor", 2},
                                         Fault{"vxQueryTensor", 3}, Fault{"vxReleaseTensor", 1}));

TEST_F(HandPoseTest, AnOutputThatCannotBeReleasedIsFatalBelowTheThresholdToo) {
    outputs(PoseOutput(kRowsOf128));
    start();
    npu().failCall("vxReleaseTensor", 1);
    EXPECT_EQ(inChild([&] { detect(); }).exitStatus, 1);
}

// ---- Placement

TEST_F(HandPoseTest, WritesAndReturnsThePlacementCode) {
    PvaHandPose pose = detected();
    pose.placementCode = 99;
    EXPECT_EQ(detector().checkPlacement(kFrame, pose), 0u);
    EXPECT_EQ(pose.placementCode, 0u);
    pose.centerX = 10;
    EXPECT_EQ(detector().checkPlacement(kFrame, pose), 1u);
    EXPECT_EQ(pose.placementCode, 1u);
}

TEST_F(HandPoseTest, ReadsPlacementFromItsCopyAtEveryCall) {
    PvaHandPose pose = detected();
    handConfig()["vertical_offset_tolerance"] = 0.995;
    detector().refreshConfig(folder_.document);
    EXPECT_EQ(detector().checkPlacement(kFrame, pose), 3u);
    handConfig().erase("hand_size_height_max");
    detector().refreshConfig(folder_.document);
    EXPECT_THROW(detector().checkPlacement(kFrame, pose), nlohmann::json::type_error);
}

// ---- Features

TEST_F(HandPoseTest, ExtractsTheFeaturesOfAWellPlacedHand) {
    PvaHandPose pose = detected();
    pose.placementCode = 99;
    EXPECT_EQ(extract(pose), 0u);
    EXPECT_EQ(pose.placementCode, 0u);
    std::vector<std::uint8_t> expected(PVA_FEATURE_BYTES, 2);
    std::fill(expected.begin() + 1024, expected.end(), std::uint8_t{1});
    EXPECT_EQ(features_, expected);
    EXPECT_THAT(npu().processed, ElementsAre(kFeatureNetwork, kSupportNetwork, kSupportNetwork));
}

TEST_F(HandPoseTest, MovesTheCentreOfTheRecord) {
    PvaHandPose pose = detected();
    extract(pose);
    EXPECT_EQ(pose.centerX, 312 - 25) << "the index finger is left";
    EXPECT_EQ(pose.centerY, 260 - 12);
    EXPECT_EQ(pose.width, 295);
}

TEST_F(HandPoseTest, NeverWritesTheImage) {
    const std::vector<std::uint8_t> before = plane_;
    PvaHandPose pose = detected();
    EXPECT_EQ(extract(pose), 0u);
    EXPECT_EQ(plane_, before);
}

class Refusal : public HandPoseTest {
protected:
    // The code of a capture that is refused before any network runs.
    std::uint32_t refusal(PvaHandPose pose) {
        detector().refreshConfig(folder_.document);
        npu().processed.clear();
        pose.placementCode = 99;
        const std::uint32_t code = extract(pose);
        EXPECT_EQ(pose.placementCode, code);
        EXPECT_EQ(features_, std::vector<std::uint8_t>(PVA_FEATURE_BYTES, 0xee));
        EXPECT_TRUE(npu().processed.empty());
        return code;
    }
};

TEST_F(Refusal, OfABadPlacementLeavesTheCentreToo) {
    PvaHandPose pose = detected();
    pose.centerX = 10;
    EXPECT_EQ(refusal(pose), 1u);
    extract(pose);
    EXPECT_EQ(pose.centerX, 10);
}

TEST_F(Refusal, GivesTheCodesOfTheSizeLimits) {
    handConfig()["hand_size_width_min"] = 0.9;
    handConfig()["hand_size_height_min"] = 0.9;
    EXPECT_EQ(refusal(detected()), 15u);
    handConfig()["hand_size_width_min"] = 0.0;
    handConfig()["hand_size_width_max"] = 0.1;
    handConfig()["hand_size_height_max"] = 0.1;
    EXPECT_EQ(refusal(detected()), 14u);
}

TEST_F(Refusal, GivesTheCodesOfTheQualityGate) {
    handConfig()["brightness_threshold_min"] = 255;
    EXPECT_EQ(refusal(detected()), 6u);
    handConfig()["brightness_threshold_min"] = 0;
    handConfig()["brightness_threshold_max"] = 10;
    EXPECT_EQ(refusal(detected()), 5u);
    handConfig()["brightness_threshold_max"] = 255;
    handConfig()["brightness_range_threshold"] = -1;
    EXPECT_EQ(refusal(detected()), 14u);
    handConfig()["brightness_range_threshold"] = 255;
    handConfig()["blur_threshold"] = 1e9;
    EXPECT_EQ(refusal(detected()), 15u);
}

TEST_F(Refusal, GivesTheCodesOfRegionsWithoutMargin) {
    folder_.document["feature"]["input_w"] = 2;
    EXPECT_EQ(refusal(detected()), 1u);
    folder_.document["feature"]["input_w"] = 128;
    folder_.document["feature"]["input_h"] = 2;
    EXPECT_EQ(refusal(detected()), 3u);
}

TEST_F(Refusal, CallsABoxWithoutAreaTooSmall) {
    PvaHandPose pose = detected();
    handConfig()["hand_size_width_min"] = 0.0;
    handConfig()["hand_size_height_min"] = 0.0;
    pose.width = 0;
    EXPECT_EQ(refusal(pose), 15u);
}

TEST_F(HandPoseTest, PrintsTheMeansWhenDebugging) {
    folder_.document["debug"] = true;
    PvaHandPose pose = detected();
    EXPECT_THAT(stdoutOf([&] { extract(pose); }), MatchesRegex("avr_bri is [0-9]+ and [0-9]+\r\n"));
}

TEST_F(HandPoseTest, ExtractingNeedsTheFeatureInputAndTheDebugFlag) {
    PvaHandPose pose = detected();
    for (const char* key : {"input_w", "input_h"}) {
        nlohmann::ordered_json document = folder_.document;
        document["feature"].erase(key);
        detector().refreshConfig(document);
        EXPECT_THROW(extract(pose), nlohmann::json::type_error) << key;
    }
    nlohmann::ordered_json document = folder_.document;
    document.erase("debug");
    detector().refreshConfig(document);
    EXPECT_THROW(extract(pose), nlohmann::json::type_error);
    EXPECT_EQ(features_, std::vector<std::uint8_t>(PVA_FEATURE_BYTES, 0xee));
}

TEST_F(HandPoseTest, ExtractsThroughACropThatLeavesTheFrame) {
    handConfig()["horizontal_offset_tolerance"] = -10.0;
    handConfig()["vertical_offset_tolerance"] = -10.0;
    handConfig()["brightness_threshold_min"] = 0;
    PvaHandPose pose = detected();
    pose.centerX = 5;
    pose.centerY = 470;
    EXPECT_EQ(extract(pose), 0u);
}

}  // namespace
}  // namespace brairu
