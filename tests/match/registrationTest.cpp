// The enrolment calls up to the commit.
#include <gmock/gmock.h>

#include <stdexcept>

#include "engineTest.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Registration : public EngineTest {
protected:
    // One call of pvaRegister. Returns the status.
    int take(const CaptureBlocks& capture) {
        const auto feature = bytesOfCapture(capture);
        const PvaUserKey key = keyOf(4, 7);
        EXPECT_EQ(pvaRegister(&key, feature.data(), 0, &result_), 1);
        return result_.status;
    }

    int take(const FeatureBlock& block0) { return take({block0, axis(1), axis(1)}); }

    void expectResult(int status, int count, int maxCount) {
        EXPECT_EQ(result_.status, status);
        EXPECT_EQ(result_.count, count);
        EXPECT_EQ(result_.maxCount, maxCount);
    }

    void setLevel(int level) { engine().detectionLevel = level; }

    PvaRegisterResult result_{};
};

TEST_F(Registration, ReportsCountAndMaxCountAfterEachCapture) {
    startEngine();
    for (int count = 1; count < 4; ++count) {
        EXPECT_EQ(stdoutOf([&] { take(axis(1)); }), "");
        expectResult(PVA_REGISTER_MORE, count, 4);
        EXPECT_EQ(pvaGetRegisterBufferSize(), count);
    }
    EXPECT_THAT(ScriptedLog::lines(), IsEmpty());
}

TEST_F(Registration, BuffersNothingWhileThereIsNoStoreToCommitTo) {
    startEngine();
    engine().store = nullptr;
    EXPECT_THROW(take(axis(1)), std::logic_error);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
}

TEST_F(Registration, EmptiesTheBufferFirstWhenTheCountOnEntryIsZero) {
    startEngine();
    take(axis(1));
    take(axis(1));
    result_ = {};
    take(axis(1));
    expectResult(PVA_REGISTER_MORE, 1, 4);
}

TEST_F(Registration, KeepsTheBufferForAnyOtherCountOnEntry) {
    startEngine();
    take(axis(1));
    for (const int count : {99, -1}) {
        result_.count = count;
        take(axis(1));
    }
    expectResult(PVA_REGISTER_MORE, 3, 4);
}

TEST_F(Registration, ReadsTheMaxCountAtEveryCall) {
    startEngine();
    take(axis(1));
    configure("database", "regis_max_count", 9);
    take(axis(1));
    expectResult(PVA_REGISTER_MORE, 2, 9);
    configure("database", "regis_max_count", 3.9);
    take(axis(1));
    expectResult(PVA_REGISTER_COMMITTED, 3, 3);
}

TEST_F(Registration, LeavesCountsAndBufferAsTheyWereForARefusedCapture) {
    startEngine();
    setLevel(3);
    take(axis(1));
    take(axis(1));
    result_ = {99, 98, 97};
    take(axis(1));
    expectResult(PVA_REGISTER_MORE, 98, 97);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 2);
}

TEST_F(Registration, ComparesTheCaptureAfterTheFirstHalfOnly) {
    config_["database"]["regis_max_count"] = 10;
    startEngine();
    setLevel(1);
    for (int count = 1; count <= 5; ++count) {
        take(axis(1));
        expectResult(PVA_REGISTER_MORE, count, 10);
    }
    take(axis(1));
    EXPECT_EQ(pvaGetRegisterBufferSize(), 5);
    take(axis(1, 50));
    EXPECT_EQ(pvaGetRegisterBufferSize(), 6);
    for (int count = 7; count <= 9; ++count) {
        take(axis(1));
        expectResult(PVA_REGISTER_MORE, count, 10);
    }
    EXPECT_EQ(take(axis(1)), PVA_REGISTER_COMMITTED);
    expectResult(PVA_REGISTER_COMMITTED, 10, 10);
}

TEST_F(Registration, ComparesWithEveryBufferedCapture) {
    for (Eigen::Index similar = 0; similar < 3; ++similar) {
        config_["database"]["regis_max_count"] = 6;
        startEngine();
        setLevel(4);
        result_ = {};
        for (Eigen::Index i = 0; i < 3; ++i) {
            take(axis(1, 10 * i));
        }
        take(axis(5, 10 * similar));
        EXPECT_EQ(pvaGetRegisterBufferSize(), 3) << similar;
    }
}

TEST_F(Registration, ComparesTheFirstBlockOnly) {
    startEngine();
    setLevel(4);
    take({axis(1, 0), axis(1), axis(1)});
    take({axis(1, 5), axis(1), axis(1)});
    take({axis(1, 10), axis(1), axis(1)});
    EXPECT_EQ(pvaGetRegisterBufferSize(), 3);
}

TEST_F(Registration, ComparesAtEveryMultipleOfHalfAnOddMaxCount) {
    config_["database"]["regis_max_count"] = 5;
    startEngine();
    setLevel(4);
    take(axis(1));
    take(axis(1));
    take(axis(1));
    EXPECT_EQ(pvaGetRegisterBufferSize(), 2);
    take(axis(1, 50));
    take(axis(1));
    EXPECT_EQ(pvaGetRegisterBufferSize(), 4);
    take(axis(1));
    EXPECT_EQ(pvaGetRegisterBufferSize(), 4);
    EXPECT_EQ(take(axis(1, 99)), PVA_REGISTER_COMMITTED);
}

TEST_F(Registration, ComparesTheSecondOfTwoCaptures) {
    config_["database"]["regis_max_count"] = 2;
    startEngine();
    setLevel(4);
    take(axis(1));
    EXPECT_EQ(take(axis(1)), PVA_REGISTER_MORE);
    EXPECT_EQ(take(axis(1, 50)), PVA_REGISTER_COMMITTED);
}

TEST_F(Registration, CommitsAtOnceForOneCaptureWithoutComparing) {
    config_["database"]["regis_max_count"] = 1;
    startEngine();
    setLevel(4);
    take(axis(1));
    expectResult(PVA_REGISTER_COMMITTED, 1, 1);
}

TEST_F(Registration, NeverCommitsForAMaxCountOfZeroOrLess) {
    for (const int maxCount : {0, -3}) {
        config_["database"]["regis_max_count"] = maxCount;
        startEngine();
        setLevel(4);
        result_ = {};
        for (int count = 1; count <= 5; ++count) {
            take(axis(1));
            expectResult(PVA_REGISTER_MORE, count, maxCount);
        }
    }
}

TEST_F(Registration, KeepsBufferingBeyondAMaxCountThatWasLowered) {
    startEngine();
    take(axis(1));
    take(axis(1));
    take(axis(1));
    configure("database", "regis_max_count", 2);
    take(axis(1));
    expectResult(PVA_REGISTER_MORE, 4, 2);
}

TEST_F(Registration, AcceptsCapturesWithoutDirection) {
    startEngine();
    setLevel(4);
    for (int count = 1; count < 4; ++count) {
        take(filledBlock(0));
        EXPECT_EQ(pvaGetRegisterBufferSize(), count);
    }
}

struct LevelCase {
    int level;
    int numerator;  // the cap as a fraction
    int denominator;
};

class RegistrationAtLevel : public Registration, public testing::WithParamInterface<LevelCase> {
protected:
    // Whether the capture after the first half is taken with this cosine to those before.
    bool takesAt(int numerator, int denominator) {
        result_ = {};
        take(axis(denominator));
        take(axis(denominator));
        take(atCosine(numerator, denominator));
        return pvaGetRegisterBufferSize() == 3;
    }
};

TEST_P(RegistrationAtLevel, AcceptsASimilarityEqualToTheCap) {
    const auto [level, numerator, denominator] = GetParam();
    startEngine();
    setLevel(level);
    EXPECT_TRUE(takesAt(numerator, denominator));
}

TEST_P(RegistrationAtLevel, RefusesASimilarityAboveTheCap) {
    const auto [level, numerator, denominator] = GetParam();
    startEngine();
    setLevel(level);
    const int percent = 100 * numerator / denominator;
    EXPECT_FALSE(takesAt(percent + 1, 100));
    EXPECT_TRUE(takesAt(percent - 1, 100));
}

INSTANTIATE_TEST_SUITE_P(Levels, RegistrationAtLevel,
                         testing::Values(LevelCase{1, 9, 10}, LevelCase{2, 17, 20},
                                         LevelCase{3, 4, 5}, LevelCase{4, 3, 4},
                                         LevelCase{5, 17, 20}, LevelCase{-1, 17, 20}));

TEST_F(Registration, RefusesNothingAtLevelZero) {
    startEngine();
    setLevel(0);
    SeededRandom random;
    for (int round = 0; round < 50; ++round) {
        const FeatureBlock block = randomBlock(random);
        result_ = {};
        take(block);
        take(block);
        take(block);
        ASSERT_EQ(pvaGetRegisterBufferSize(), 3) << "round " << round;
    }
}

TEST_F(Registration, RaisesTypeErrorsOfTheConfiguration) {
    startEngine();
    take(axis(1));
    const auto fault = [&] { return thrownBy<nlohmann::json::type_error>([&] { take(axis(1)); }); };
    configure("feature", "feature_len", nullptr);
    EXPECT_EQ(fault(), "[json.exception.type_error.302] type must be number, but is null");
    configure("database", "regis_max_count", "4");
    EXPECT_EQ(fault(), "[json.exception.type_error.302] type must be number, but is string");
    document()["database"] = ConfigDocument::array();
    EXPECT_EQ(fault(),
              "[json.exception.type_error.305] cannot use operator[] with a string argument with "
              "array");
    EXPECT_EQ(pvaGetRegisterBufferSize(), 1);
}

TEST_F(Registration, EmptiesTheBufferBeforeItReadsTheConfiguration) {
    startEngine();
    take(axis(1));
    document()["database"]["regis_max_count"] = nullptr;
    result_ = {};
    EXPECT_THROW(take(axis(1)), nlohmann::json::type_error);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
}

TEST_F(Registration, LogsNullPointersAndTakesNothing) {
    startEngine();
    const PvaUserKey key{};
    const auto feature = bytesOfCapture(captureOf(axis(1)));
    EXPECT_EQ(pvaRegister(nullptr, feature.data(), 0, &result_), 0);
    EXPECT_EQ(pvaRegister(&key, nullptr, 0, &result_), 0);
    EXPECT_EQ(pvaRegister(&key, feature.data(), 0, nullptr), 0);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
    const LogLine line{6, "pva", "pvaRegister: null pointer\r\n"};
    EXPECT_THAT(ScriptedLog::lines(), ElementsAre(line, line, line));
}

TEST_F(Registration, NeedsAStartedEngine) {
    const PvaUserKey key{};
    const auto feature = bytesOfCapture(captureOf(axis(1)));
    EXPECT_EQ(thrownBy<std::logic_error>([&] { pvaRegister(&key, feature.data(), 0, &result_); }),
              "pvaRegister: the engine is not started; call init_pva first");
    EXPECT_EQ(thrownBy<std::logic_error>([] { pvaGetRegisterBufferCapacity(); }),
              "pvaGetRegisterBufferCapacity: the engine is not started; call init_pva first");
}

TEST_F(Registration, KeepsTheBufferOfAStoppedEngine) {
    startEngine();
    take(axis(1));
    deinit_pva();
    EXPECT_EQ(pvaGetRegisterBufferSize(), 1);
    EXPECT_EQ(pvaClearRegisterBuffer(), 1);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
}

TEST_F(Registration, ClearDropsTheRunningEnrolment) {
    startEngine();
    take(axis(1));
    take(axis(1));
    EXPECT_EQ(pvaClearRegisterBuffer(), 1);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
    take(axis(1));
    expectResult(PVA_REGISTER_MORE, 1, 4);
    EXPECT_EQ(pvaClearRegisterBuffer(), 1);
    EXPECT_EQ(pvaClearRegisterBuffer(), 1);
}

TEST_F(Registration, CapacityIsTheConfiguredMaxCount) {
    startEngine();
    EXPECT_EQ(pvaGetRegisterBufferCapacity(), 4);
    document()["database"]["regis_max_count"] = 6.9;
    EXPECT_EQ(pvaGetRegisterBufferCapacity(), 6);
    document()["database"]["regis_max_count"] = true;
    EXPECT_EQ(pvaGetRegisterBufferCapacity(), 1);
    document()["database"]["regis_max_count"] = "6";
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>([] { pvaGetRegisterBufferCapacity(); }),
              "[json.exception.type_error.302] type must be number, but is string");
}

}  // namespace
}  // namespace brairu::test
