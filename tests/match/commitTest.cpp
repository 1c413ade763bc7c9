// The commit that the last capture of an enrolment starts.
#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>

#include "engineTest.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Commit : public EngineTest {
protected:
    Commit() { config_["database"]["regis_max_count"] = 2; }

    // Registers these captures; the last one commits.
    void registerAll(const std::vector<CaptureBlocks>& captures, int checkDuplicate) {
        result_ = {};
        for (const CaptureBlocks& capture : captures) {
            const auto feature = bytesOfCapture(capture);
            EXPECT_EQ(pvaRegister(&key_, feature.data(), checkDuplicate, &result_), 1);
        }
    }

    // The same for what is written to stdout meanwhile.
    std::string enrolCaptures(const std::vector<CaptureBlocks>& captures, int checkDuplicate = 0) {
        return stdoutOf([&] { registerAll(captures, checkDuplicate); });
    }

    std::string enrolPalm(const FeatureBlock& block, int checkDuplicate = 0) {
        return enrolCaptures({captureOf(block), captureOf(block)}, checkDuplicate);
    }

    int rows() { return static_cast<int>(database().number("SELECT COUNT(*) FROM userInfo")); }

    PvaUserKey key_{INT64_C(-9000000000000), 7, {11, 12, 13}};
    PvaRegisterResult result_{};
};

constexpr const char* kSuccess = "注册成功 id = 7 个用户\r\n";
constexpr const char* kFailure = "注册失败 id = 7 个用户\r\n";

TEST_F(Commit, WritesTheMeanOfAllCapturesAsTheOnlyTemplate) {
    startEngine();
    EXPECT_EQ(enrolCaptures({{axis(10), axis(-3), axis(1, 9)}, {axis(21), axis(-4), axis(4, 9)}}),
              kSuccess);
    EXPECT_EQ(result_.status, PVA_REGISTER_COMMITTED);
    EXPECT_EQ(result_.count, 2);
    EXPECT_EQ(database().blob(1), templateWith({axis(15), axis(-3), axis(2, 9)}));
}

TEST_F(Commit, WritesTheKeyAndTheFirstLearnCount) {
    startEngine();
    enrolPalm(axis(1));
    EXPECT_EQ(database().number("SELECT userid FROM userInfo"), key_.userid);
    EXPECT_EQ(database().number("SELECT palmindex FROM userInfo"), 7);
    EXPECT_EQ(database().number("SELECT learn_count FROM userInfo"), 50);
    EXPECT_EQ(database().number("SELECT typeof(vector_data) = 'blob' FROM userInfo"), 1);
}

TEST_F(Commit, MirrorsTheTemplateAndRaisesTheCount) {
    startEngine();
    enrolPalm(axis(9));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0));
    EXPECT_EQ(recordOf(0), valuesOf(axis(9)));
    EXPECT_EQ(store().featureCount(), 1);
    EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 1);
}

TEST_F(Commit, LogsNothing) {
    startEngine();
    enrolPalm(axis(1));
    EXPECT_THAT(ScriptedLog::lines(), IsEmpty());
}

TEST_F(Commit, EmptiesTheBuffer) {
    startEngine();
    enrolPalm(axis(1));
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
}

TEST_F(Commit, WritesThreeCentresOfTenCaptures) {
    config_["database"]["regis_max_count"] = 10;
    startEngine(3);
    std::vector<CaptureBlocks> captures;
    for (int i = 0; i < 10; ++i) {
        const bool isFar = i < 5;
        captures.push_back({isFar ? atCosine(3, 4) : axis(100), axis(isFar ? 80 : 20), axis(i)});
    }
    EXPECT_EQ(enrolCaptures(captures), kSuccess);
    const Bytes row = database().blob(1);
    ASSERT_EQ(row.size(), 3 * kTemplateBytes);
    const FeatureBlock far = atCosine(3, 4);
    const FeatureBlock mean = meanFeature(std::vector<FeatureBlock>{far, axis(100)});
    EXPECT_EQ(blocksInRow(row, 0)[0], mean);
    EXPECT_EQ(blocksInRow(row, 1)[0], axis(100));
    EXPECT_EQ(blocksInRow(row, 2)[0], far);
    EXPECT_EQ(blocksInRow(row, 0)[1], axis(50));
    EXPECT_EQ(blocksInRow(row, 1)[1], axis(20));
    EXPECT_EQ(blocksInRow(row, 2)[1], axis(80));
    EXPECT_EQ(blocksInRow(row, 0)[2], axis(4));
    EXPECT_EQ(blocksInRow(row, 1)[2], axis(7));
    EXPECT_EQ(blocksInRow(row, 2)[2], axis(2));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2));
    EXPECT_EQ(recordOf(2), valuesOf(far));
    EXPECT_EQ(store().featureCount(), 3);
}

TEST_F(Commit, LeavesTrailersZero) {
    startEngine(3);
    enrolPalm(filledBlock(-1));
    const Bytes row = database().blob(1);
    for (std::size_t centre = 0; centre < 3; ++centre) {
        const auto end = row.begin() + static_cast<std::ptrdiff_t>((centre + 1) * kTemplateBytes);
        EXPECT_THAT(Bytes(end - 10, end), testing::Each(0));
        EXPECT_EQ(*(end - 11), 255);
    }
}

TEST_F(Commit, PutsTheNextPalmBehindTheLast) {
    startEngine(3);
    enrolPalm(axis(1));
    key_.palmindex = 8;
    EXPECT_EQ(enrolPalm(axis(2)), "注册成功 id = 8 个用户\r\n");
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2, 3, 4, 5));
    EXPECT_EQ(store().featureCount(), 6);
}

TEST_F(Commit, NeverReusesSlotsOfARemovedPalm) {
    startEngine();
    enrolPalm(axis(1));
    ASSERT_EQ(pvaDataBaseDeleteUser(&key_), 1);
    enrolPalm(axis(2));
    EXPECT_THAT(occupiedSlots(), ElementsAre(1));
    EXPECT_EQ(database().number("SELECT id FROM userInfo"), 2);
}

TEST_F(Commit, EnrolsTheSamePalmTwiceWithoutTheCheck) {
    startEngine();
    enrolPalm(axis(1));
    EXPECT_EQ(enrolPalm(axis(1)), kSuccess);
    EXPECT_EQ(rows(), 2);
    EXPECT_EQ(store().featureCount(), 2);
}

TEST_F(Commit, RefusesADuplicateAndLeavesDatabaseAndCacheUntouched) {
    startEngine(3);
    int palms = 0;
    for (const int flag : {1, -1, 256, INT32_MIN}) {
        const Eigen::Index place = 10 * ++palms;
        enrolPalm(axis(64, place));
        const std::string databaseBefore = databaseBytes();
        const std::string cacheBefore = cacheBytes();
        EXPECT_EQ(enrolPalm(atCosine(51, 64, place), flag), kFailure);
        EXPECT_EQ(result_.status, PVA_REGISTER_DUPLICATE);
        EXPECT_EQ(result_.count, 2);
        EXPECT_EQ(databaseBytes(), databaseBefore);
        EXPECT_TRUE(cacheBytes() == cacheBefore);
        EXPECT_EQ(store().featureCount(), 3 * palms);
        EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
    }
}

TEST_F(Commit, ChecksWithTheMeanOfAllCaptures) {
    startEngine(3);
    enrolPalm(axis(64));
    // Each capture is the enrolled palm or none; their mean has a cosine of 0.707 with it, in all
    // blocks.
    enrolCaptures({captureOf(axis(64)), captureOf(axis(64, 50))}, 1);
    EXPECT_EQ(result_.status, PVA_REGISTER_DUPLICATE);
    configure("feature", "auth_threshold", 0.75);
    enrolCaptures({captureOf(axis(64)), captureOf(axis(64, 50))}, 1);
    EXPECT_EQ(result_.status, PVA_REGISTER_COMMITTED);
}

TEST_F(Commit, EnrolsAnotherPalmInSpiteOfTheCheck) {
    startEngine();
    EXPECT_EQ(enrolPalm(axis(1), 1), kSuccess);
    EXPECT_EQ(enrolPalm(axis(1, 50), 1), kSuccess);
    EXPECT_EQ(rows(), 2);
}

TEST_F(Commit, TakesAnUnreadableCandidateForNoDuplicate) {
    startEngine();
    enrolPalm(axis(1));
    database().run("DELETE FROM userInfo");
    EXPECT_EQ(enrolPalm(axis(1), 1), kSuccess);
}

TEST_F(Commit, FailsWithoutACentreToForm) {
    for (const int centres : {0, -2}) {
        startEngine(centres);
        EXPECT_EQ(enrolPalm(axis(1), 1), std::string("注册失败 多人注册\r\n") + kFailure);
        EXPECT_EQ(result_.status, PVA_REGISTER_FAILED);
        EXPECT_EQ(rows(), 0);
        EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
    }
}

TEST_F(Commit, LeavesLockReleasedAndBufferEmptyWhenAGroupIsEmpty) {
    startEngine(4);
    const std::vector<CaptureBlocks> captures(2, captureOf(axis(1)));
    EXPECT_EQ(thrownBy<std::invalid_argument>([&] { registerAll(captures, 0); }),
              "Vector collection is empty");
    EXPECT_TRUE(apiLockIsFree());
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
    EXPECT_EQ(rows(), 0);
    EXPECT_THAT(occupiedSlots(), IsEmpty());
}

TEST_F(Commit, LeavesLockReleasedAndBufferEmptyWhenAThresholdIsNoNumber) {
    startEngine();
    enrolPalm(axis(1));
    configure("feature", "filter_threshold", ConfigDocument::object());
    const std::vector<CaptureBlocks> captures(2, captureOf(axis(1)));
    EXPECT_EQ(thrownBy<nlohmann::json::type_error>([&] { registerAll(captures, 1); }),
              "[json.exception.type_error.302] type must be number, but is object");
    EXPECT_TRUE(apiLockIsFree());
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
    EXPECT_EQ(rows(), 1);
}

TEST_F(Commit, FailsOnALockedDatabaseAndLeavesTheCacheUntouched) {
    startEngine();
    enrolPalm(axis(1));
    const std::string cacheBefore = cacheBytes();
    {
        OtherConnection other = database();
        other.run("BEGIN EXCLUSIVE");
        EXPECT_EQ(enrolPalm(axis(2)), kFailure);
    }
    EXPECT_EQ(result_.status, PVA_REGISTER_FAILED);
    EXPECT_TRUE(cacheBytes() == cacheBefore);
    EXPECT_EQ(store().featureCount(), 1);
    EXPECT_EQ(rows(), 1);
    EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
    EXPECT_EQ(enrolPalm(axis(2)), kSuccess);
}

TEST_F(Commit, KeepsTheSlotsOfARowThatCouldNotBeInserted) {
    startEngine(2);
    {
        OtherConnection other = database();
        other.run("BEGIN IMMEDIATE");
        EXPECT_EQ(enrolPalm(axis(2)), kFailure);
    }
    EXPECT_EQ(result_.status, PVA_REGISTER_FAILED);
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1));
    EXPECT_EQ(store().featureCount(), 0);
    EXPECT_EQ(rows(), 0);
}

TEST_F(Commit, FailsWithoutTheTable) {
    startEngine();
    database().run("DROP TABLE userInfo");
    EXPECT_EQ(enrolPalm(axis(2)), kFailure);
    EXPECT_EQ(result_.status, PVA_REGISTER_FAILED);
    EXPECT_THAT(occupiedSlots(), ElementsAre(0));
    EXPECT_EQ(store().featureCount(), 0);
}

TEST_F(Commit, FailsWhenTheUseridCannotBeBound) {
    startEngine();
    // From the query of the last id on.
    InterposedCalls::get().beforeStep = [](sqlite3_stmt*) {
        InterposedCalls::get().failingParameter = 1;
    };
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(enrolPalm(axis(1)), kFailure); }),
              "绑定 userid 失败: column index out of range\n");
    EXPECT_EQ(result_.status, PVA_REGISTER_FAILED);
}

TEST_F(Commit, FailsWhenThePalmindexCannotBeBound) {
    startEngine();
    InterposedCalls::get().failingParameter = 2;
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(enrolPalm(axis(1)), kFailure); }),
              "绑定 palmindex 失败: column index out of range\n");
    EXPECT_EQ(result_.status, PVA_REGISTER_FAILED);
    EXPECT_EQ(store().featureCount(), 0);
}

TEST_F(Commit, CountsABlobThatCannotBeBoundAsEnrolled) {
    startEngine();
    InterposedCalls::get().failingParameter = 3;
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(enrolPalm(axis(1)), kSuccess); }),
              "绑定 palmindex 失败: column index out of range\n");
    EXPECT_EQ(result_.status, PVA_REGISTER_COMMITTED);
    EXPECT_EQ(store().featureCount(), 0);
    EXPECT_EQ(rows(), 0);
    EXPECT_THAT(occupiedSlots(), ElementsAre(0));
}

TEST_F(Commit, GoesOnWhenTheLearnCountCannotBeBound) {
    startEngine();
    InterposedCalls::get().failingParameter = 4;
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(enrolPalm(axis(1)), kSuccess); }), "");
    EXPECT_EQ(database().number("SELECT learn_count IS NULL FROM userInfo"), 1);
}

TEST_F(Commit, StaysWithinTheTemplateForLongerBlocks) {
    // Not a supported length, but no reason to write beyond the row either.
    config_["feature"]["feature_len"] = 800;
    startEngine();
    const Bytes feature(3 * 800, 1);
    const auto printed = stdoutOf([&] {
        pvaRegister(&key_, feature.data(), 0, &result_);
        pvaRegister(&key_, feature.data(), 0, &result_);
    });
    EXPECT_EQ(printed, kSuccess);
    EXPECT_EQ(database().blob(1), Bytes(kTemplateBytes, 1));
}

// A call on another thread, watched from this one.
class OtherThread {
public:
    explicit OtherThread(std::function<void()> action)
        : done_(std::async(std::launch::async, std::move(action))) {}

    bool isDoneWithin(int milliseconds) {
        return done_.wait_for(std::chrono::milliseconds(milliseconds)) == std::future_status::ready;
    }

private:
    std::future<void> done_;
};

TEST_F(Commit, WaitsForTheLockWhileBufferingDoesNot) {
    startEngine();
    const auto feature = bytesOfCapture(captureOf(axis(1)));
    const auto capture = [&] { pvaRegister(&key_, feature.data(), 0, &result_); };
    std::unique_ptr<OtherThread> last;
    testing::internal::CaptureStdout();
    {
        const MutexLock lock(apiLock);
        EXPECT_TRUE(OtherThread(capture).isDoneWithin(5000));
        last = std::make_unique<OtherThread>(capture);
        EXPECT_FALSE(last->isDoneWithin(100));
        EXPECT_EQ(rows(), 0);
    }
    EXPECT_TRUE(last->isDoneWithin(5000));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kSuccess);
    EXPECT_EQ(rows(), 1);
}

}  // namespace
}  // namespace brairu::test
