// The recognition calls.
#include <gmock/gmock.h>

#include <cmath>
#include <future>
#include <stdexcept>

#include "engineTest.h"
#include "match/authentication.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;

class GetAuthRes : public EngineTest {
protected:
    // The matches remembered by the process survive every engine. This makes an earlier test's
    // forgotten.
    void forgetMatches() {
        const int level = std::exchange(engine().securityLevel, 1);
        ASSERT_EQ(attempt(axis(1)), 1);
        engine().securityLevel = level;
    }

    void startWithPalm(int securityLevel) {
        config_["feature"]["security_level"] = securityLevel;
        startEngine();
        enrol(42, captureOf(axis(1)));
        forgetMatches();
    }

    int attempt(const FeatureBlock& every) {
        const auto feature = bytesOfCapture(captureOf(every));
        return pvaGetAuthRes(feature.data(), &result_);
    }

    PvaAuthResult result_{};
};

TEST_F(GetAuthRes, ConfirmsAfterAsManyMatchesAsTheSecurityLevel) {
    startWithPalm(3);
    result_ = {};
    EXPECT_EQ(attempt(axis(1)), 0);
    EXPECT_EQ(result_.rowId, 1);
    EXPECT_EQ(result_.userid, 0);
    EXPECT_EQ(attempt(axis(1)), 0);
    EXPECT_EQ(attempt(axis(1, 9)), 0);
    EXPECT_EQ(attempt(axis(1)), 1);
    EXPECT_EQ(result_.userid, 42);
    EXPECT_EQ(result_.palmindex, 1);
    EXPECT_EQ(result_.rowId, 1);
    EXPECT_EQ(result_.similarity, 1.0f);
    EXPECT_EQ(attempt(axis(1)), 0);
    forgetMatches();
}

TEST_F(GetAuthRes, CutsTheFeatureInThreeBlocks) {
    startEngine();
    enrol(42, {axis(1, 3), axis(1, 4), axis(1, 5)});
    const auto feature = bytesOfCapture({axis(1, 3), axis(1, 4), axis(1, 5)});
    const auto swapped = bytesOfCapture({axis(1, 3), axis(1, 5), axis(1, 4)});
    EXPECT_EQ(pvaGetAuthRes(swapped.data(), &result_), 0);
    EXPECT_EQ(pvaGetAuthRes(feature.data(), &result_), 1);
}

TEST_F(GetAuthRes, RemembersMatchesThroughAStopOfTheEngine) {
    startWithPalm(2);
    EXPECT_EQ(attempt(axis(1)), 0);
    deinit_pva();
    startEngine();
    EXPECT_EQ(attempt(axis(1)), 1);
}

TEST_F(GetAuthRes, RemembersMatchesThroughAWipe) {
    startWithPalm(2);
    EXPECT_EQ(attempt(axis(1)), 0);
    EXPECT_EQ(pvaDataBaseDropPalmDatabase(), 1);
    EXPECT_EQ(attempt(axis(1)), 0);
    enrol(43, captureOf(axis(1)));
    EXPECT_EQ(attempt(axis(1)), 1);
    EXPECT_EQ(result_.userid, 43);
}

TEST_F(GetAuthRes, RemembersMatchesThroughAnEnrolment) {
    startWithPalm(2);
    EXPECT_EQ(attempt(axis(1)), 0);
    enrol(43, captureOf(axis(1, 9)));
    EXPECT_EQ(attempt(axis(1)), 1);
}

TEST_F(GetAuthRes, HoldsTheLockForItsWholeRun) {
    startWithPalm(1);
    std::future<int> call;
    {
        const MutexLock lock(apiLock);
        call = std::async(std::launch::async, [&] { return attempt(axis(1)); });
        EXPECT_EQ(call.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    }
    EXPECT_EQ(call.get(), 1);
    EXPECT_TRUE(apiLockIsFree());
}

TEST_F(GetAuthRes, ReleasesTheLockWhenTheFeatureLengthIsNoNumber) {
    startWithPalm(1);
    configure("feature", "feature_len", "512");
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>([&] { attempt(axis(1)); }),
              "[json.exception.type_error.302] type must be number, but is string");
    EXPECT_TRUE(apiLockIsFree());
}

TEST_F(GetAuthRes, ReleasesTheLockWhenAThresholdIsNoNumber) {
    startWithPalm(1);
    configure("feature", "auth_threshold", nullptr);
    EXPECT_THROW(attempt(axis(1)), nlohmann::json::type_error);
    EXPECT_TRUE(apiLockIsFree());
}

TEST_F(GetAuthRes, NeedsAStartedEngine) {
    EXPECT_EQ(thrownBy<std::logic_error>([&] { attempt(axis(1)); }),
              "pvaGetAuthRes: the engine is not started; call init_pva first");
    EXPECT_TRUE(apiLockIsFree());
}

TEST_F(GetAuthRes, LogsNullPointers) {
    startEngine();
    const auto feature = bytesOfCapture(captureOf(axis(1)));
    EXPECT_EQ(pvaGetAuthRes(nullptr, &result_), 0);
    EXPECT_EQ(pvaGetAuthRes(feature.data(), nullptr), 0);
    const LogLine line{6, "pva", "pvaGetAuthRes: null pointer\r\n"};
    EXPECT_THAT(ScriptedLog::lines(), ElementsAre(line, line));
    EXPECT_TRUE(apiLockIsFree());
}

TEST_F(GetAuthRes, FindsNobodyInAnEmptyStore) {
    startEngine();
    result_ = {1, 2, 3, 4, 5.0f};
    EXPECT_EQ(attempt(axis(1)), 0);
    EXPECT_EQ(result_.rowId, 3);
    EXPECT_EQ(result_.similarity, 5.0f);
}

class Get1to1AuthRes : public EngineTest {
protected:
    void startWithThreshold(double threshold) {
        config_["feature"]["auth_threshold"] = threshold;
        startEngine();
    }

    // The result of comparing two captures.
    int compare(const CaptureBlocks& probe, const CaptureBlocks& reference) {
        const auto probeBytes = bytesOfCapture(probe);
        const auto referenceBytes = bytesOfCapture(reference);
        return pvaGet1to1AuthRes(probeBytes.data(), referenceBytes.data(), &result_);
    }

    PvaAuthResult result_{1, 2, 3, 4, 5.0f};
};

TEST_F(Get1to1AuthRes, AcceptsTheFirstTwoBlocksAtTheThreshold) {
    startWithThreshold(0.75);
    EXPECT_EQ(compare({axis(4), axis(4), axis(1)}, {atCosine(3, 4), atCosine(3, 4), axis(1)}), 1);
    EXPECT_EQ(result_.similarity, 0.75f);
}

TEST_F(Get1to1AuthRes, AcceptsTheThirdBlockATenthBelowTheThreshold) {
    startWithThreshold(0.7);
    EXPECT_EQ(
        compare({axis(10), axis(10), axis(5)}, {atCosine(7, 10), atCosine(7, 10), atCosine(3, 5)}),
        1);
    EXPECT_EQ(result_.similarity, 0.7f);
}

TEST_F(Get1to1AuthRes, ComparesTheThirdBlockInDoublePrecision) {
    // The float nearest to 0.6 less 0.1 is a little more than 0.5, in single precision it would be
    // 0.5.
    startWithThreshold(0.6);
    EXPECT_EQ(compare(captureOf(axis(2)), {axis(2), axis(2), atCosine(1, 2)}), 0);
    EXPECT_EQ(compare(captureOf(axis(64)), {axis(64), axis(64), atCosine(33, 64)}), 1);
}

TEST_F(Get1to1AuthRes, RefusesEachBlockBelowItsThreshold) {
    startWithThreshold(0.75);
    EXPECT_EQ(compare(captureOf(axis(64)), {atCosine(47, 64), axis(64), axis(64)}), 0);
    EXPECT_EQ(compare(captureOf(axis(64)), {axis(64), atCosine(47, 64), axis(64)}), 0);
    EXPECT_EQ(compare(captureOf(axis(64)), {axis(64), axis(64), atCosine(41, 64)}), 0);
    EXPECT_EQ(compare(captureOf(axis(64)), {axis(64), axis(64), atCosine(42, 64)}), 1);
}

TEST_F(Get1to1AuthRes, WritesTheMeanOfTheFirstTwoBlocksInEveryCase) {
    startWithThreshold(0.75);
    EXPECT_EQ(compare(captureOf(axis(4)), {atCosine(1, 4), atCosine(-3, 4), axis(4)}), 0);
    EXPECT_EQ(result_.similarity, -0.25f);
    EXPECT_EQ(compare(captureOf(axis(4)), {axis(4), atCosine(3, 4), axis(4)}), 1);
    EXPECT_EQ(result_.similarity, 0.875f);
}

TEST_F(Get1to1AuthRes, WritesNothingElse) {
    startWithThreshold(0.5);
    compare(captureOf(axis(4)), captureOf(axis(4)));
    EXPECT_EQ(result_.userid, 1);
    EXPECT_EQ(result_.palmindex, 2);
    EXPECT_EQ(result_.rowId, 3);
    EXPECT_EQ(result_.reserved, 4);
}

TEST_F(Get1to1AuthRes, DoesNotUseTheFilterThreshold) {
    startWithThreshold(0.5);
    configure("feature", "filter_threshold", 0.99);
    EXPECT_EQ(compare(captureOf(axis(2)), captureOf(atCosine(1, 2))), 1);
    configure("feature", "filter_threshold", nullptr);
    EXPECT_EQ(compare(captureOf(axis(2)), captureOf(atCosine(1, 2))), 1);
}

TEST_F(Get1to1AuthRes, ReadsTheThresholdFromTheStoresCopy) {
    startWithThreshold(0.5);
    document()["feature"]["auth_threshold"] = 0.9;
    EXPECT_EQ(compare(captureOf(axis(4)), captureOf(atCosine(3, 4))), 1);
    store().config()["feature"]["auth_threshold"] = 0.9;
    EXPECT_EQ(compare(captureOf(axis(4)), captureOf(atCosine(3, 4))), 0);
}

TEST_F(Get1to1AuthRes, CutsAtFixedPlacesWhateverTheFeatureLength) {
    startWithThreshold(0.5);
    configure("feature", "feature_len", 100);
    EXPECT_EQ(compare({axis(1, 511), axis(1, 511), axis(1, 511)},
                      {axis(2, 511), axis(2, 511), axis(2, 511)}),
              1);
    EXPECT_EQ(result_.similarity, 1.0f);
}

TEST_F(Get1to1AuthRes, RefusesBlocksWithoutDirectionAndWritesNan) {
    startWithThreshold(-1.0);
    EXPECT_EQ(compare(captureOf(filledBlock(0)), captureOf(axis(1))), 0);
    EXPECT_TRUE(std::isnan(result_.similarity));
    EXPECT_EQ(compare(captureOf(filledBlock(0)), captureOf(filledBlock(0))), 0);
    EXPECT_TRUE(std::isnan(result_.similarity));
    EXPECT_EQ(compare({axis(1), filledBlock(0), axis(1)}, captureOf(axis(1))), 0);
    EXPECT_TRUE(std::isnan(result_.similarity));
}

TEST_F(Get1to1AuthRes, RefusesAThirdBlockWithoutDirection) {
    startWithThreshold(-1.0);
    EXPECT_EQ(compare({axis(1), axis(1), filledBlock(0)}, captureOf(axis(1))), 0);
    EXPECT_EQ(result_.similarity, 1.0f);
}

TEST_F(Get1to1AuthRes, WritesTheSimilarityBeforeItReadsTheThreshold) {
    startWithThreshold(0.5);
    configure("feature", "auth_threshold", "0.5");
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>(
                  [&] { compare(captureOf(axis(4)), captureOf(atCosine(3, 4))); }),
              "[json.exception.type_error.302] type must be number, but is string");
    EXPECT_EQ(result_.similarity, 0.75f);
}

TEST_F(Get1to1AuthRes, TakesATemplateForAReference) {
    startWithThreshold(0.5);
    const auto probe = bytesOfCapture(captureOf(axis(1)));
    const Bytes reference = templateWith(captureOf(axis(1)), 0xff);
    EXPECT_EQ(pvaGet1to1AuthRes(probe.data(), reference.data(), &result_), 1);
}

TEST_F(Get1to1AuthRes, TakesNoLock) {
    startWithThreshold(0.5);
    const MutexLock lock(apiLock);
    EXPECT_EQ(compare(captureOf(axis(1)), captureOf(axis(1))), 1);
}

TEST_F(Get1to1AuthRes, NeedsAStartedEngine) {
    EXPECT_EQ(thrownBy<std::logic_error>([&] { compare(captureOf(axis(1)), captureOf(axis(1))); }),
              "pvaGet1to1AuthRes: the engine is not started; call init_pva first");
}

TEST_F(Get1to1AuthRes, LogsNullPointers) {
    startEngine();
    const auto feature = bytesOfCapture(captureOf(axis(1)));
    EXPECT_EQ(pvaGet1to1AuthRes(nullptr, feature.data(), &result_), 0);
    EXPECT_EQ(pvaGet1to1AuthRes(feature.data(), nullptr, &result_), 0);
    EXPECT_EQ(pvaGet1to1AuthRes(feature.data(), feature.data(), nullptr), 0);
    const LogLine line{6, "pva", "pvaGet1to1AuthRes: null pointer\r\n"};
    EXPECT_THAT(ScriptedLog::lines(), ElementsAre(line, line, line));
    EXPECT_EQ(result_.similarity, 5.0f);
}

TEST(CompareCaptures, SubtractsInDoubleAndKeepsSinglePrecision) {
    SeededRandom random;
    for (int round = 0; round < 200; ++round) {
        const CaptureBlocks probe{randomBlock(random), randomBlock(random), randomBlock(random)};
        const CaptureBlocks reference{randomBlock(random), randomBlock(random),
                                      randomBlock(random)};
        const auto similarities =
            compareCaptures(bytesOfCapture(probe).data(), bytesOfCapture(reference).data());
        for (std::size_t block = 0; block < kBlocks; ++block) {
            const double distance = cosineDistance(probe[block], reference[block]);
            ASSERT_EQ(similarities[block], static_cast<float>(1.0 - distance)) << "round " << round;
        }
    }
}

}  // namespace
}  // namespace brairu::test
