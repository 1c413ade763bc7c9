// The exported database calls, on a store that the test publishes in the engine's context.
#include <algorithm>
#include <array>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "brairu.h"
#include "pvAuth.h"
#include "storeTest.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kRefuseInserts =
    "CREATE TRIGGER refuse BEFORE INSERT ON userInfo BEGIN SELECT RAISE(ABORT, 'no'); END;";

class DatabaseCallsTest : public StoreTest {
protected:
    ~DatabaseCallsTest() override { engine().store = nullptr; }

    void startEngineStore(int centres = 1) {
        engine().store = nullptr;
        start(centres);
        engine().store = store_.get();
        takeLog();
    }

    std::int64_t rows() const { return database().number("SELECT COUNT(*) FROM userInfo;"); }

    static std::vector<std::string> takeEngineLog() {
        const auto texts = ScriptedLog::texts("pva");
        ScriptedLog::clear();
        return texts;
    }

    const PvaUserKey key_ = keyOf(11, 4);
    const PvaUserKey absent_ = keyOf(11, 5);
};

// ---- Wiping and counting

TEST_F(DatabaseCallsTest, EachWipeCallEmptiesTheStore) {
    startEngineStore(3);
    for (const auto wipe : {&pvaDataBaseDeleteAllPalm, &pvaDataBaseDropPalmDatabase,
                            &pvaDataBaseDeletePalmDatabase}) {
        ASSERT_EQ(pvaDataBaseAddUser(&key_, templateOf(1).data()), 1);
        ASSERT_EQ(pvaDataBaseGetAllPalmCount(), 1);
        EXPECT_EQ(wipe(), 1);
        EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 0);
        EXPECT_EQ(rows(), 0);
        EXPECT_EQ(store().cache()->count(), 0);
    }
}

TEST_F(DatabaseCallsTest, AFailedWipeIsAFailure) {
    startEngineStore();
    database().run("DROP TABLE userInfo;");
    EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 0);
}

TEST_F(DatabaseCallsTest, AnErrorThatLeavesAWipeReleasesTheLock) {
    startEngineStore();
    store().config()["database"]["database_path"] = 1;
    EXPECT_THROW(pvaDataBaseDropPalmDatabase(), nlohmann::json::type_error);
    auto later = std::async(std::launch::async, [] { return pvaDataBaseGetAllPalmCount(); });
    EXPECT_EQ(later.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

TEST_F(DatabaseCallsTest, CountsPalmsNotTemplates) {
    startEngineStore(3);
    EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 0);
    pvaDataBaseAddUser(&key_, templateOf(1).data());
    pvaDataBaseAddUser(&absent_, templateOf(2).data());
    EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 2);
    EXPECT_EQ(store().featureCount(), 6);
}

TEST_F(DatabaseCallsTest, CountsNoPalmsWithoutCentres) {
    startEngineStore(0);
    EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 0);
}

TEST_F(DatabaseCallsTest, TellsWhetherAPalmIsThere) {
    startEngineStore();
    pvaDataBaseAddUser(&key_, templateOf(1).data());
    EXPECT_EQ(pvaDataBaseExistUser(&key_), 1);
    EXPECT_EQ(pvaDataBaseExistUser(&absent_), 0);
}

// ---- Adding

TEST_F(DatabaseCallsTest, AddsOneTemplateAsItIs) {
    startEngineStore(1);
    EXPECT_EQ(pvaDataBaseAddUser(&key_, templateOf(1).data()), 1);
    EXPECT_EQ(database().blob(1), templateOf(1));
}

TEST_F(DatabaseCallsTest, WithOneCentreARefusedAddIsAFailure) {
    startEngineStore(1);
    database().run(kRefuseInserts);
    EXPECT_EQ(pvaDataBaseAddUser(&key_, templateOf(1).data()), 0);
}

TEST_F(DatabaseCallsTest, WidensOneTemplateToAllCentres) {
    startEngineStore(3);
    EXPECT_EQ(pvaDataBaseAddUser(&key_, templateOf(1).data()), 1);
    EXPECT_EQ(database().blob(1), rowOf({1, 1, 1}));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2));
}

TEST_F(DatabaseCallsTest, WithMoreCentresARefusedAddIsASuccess) {
    startEngineStore(3);
    database().run(kRefuseInserts);
    EXPECT_EQ(pvaDataBaseAddUser(&key_, templateOf(1).data()), 1);
    EXPECT_EQ(pvaDataBaseAddUserWithFeatSize(&key_, templateOf(1).data(), 1546), 1);
    EXPECT_EQ(rows(), 0);
}

TEST_F(DatabaseCallsTest, AddWithFeatSizeOfOneTemplateRepeatsIt) {
    startEngineStore(3);
    EXPECT_EQ(pvaDataBaseAddUserWithFeatSize(&key_, templateOf(7).data(), 1546), 1);
    EXPECT_EQ(database().blob(1), rowOf({7, 7, 7}));
}

TEST_F(DatabaseCallsTest, AddWithTheFullFeatSizeStoresTheDataAndItsOwnResult) {
    startEngineStore(3);
    EXPECT_EQ(pvaDataBaseAddUserWithFeatSize(&key_, rowOf({1, 2, 3}).data(), 4638), 1);
    EXPECT_EQ(database().blob(1), rowOf({1, 2, 3}));
    database().run(kRefuseInserts);
    EXPECT_EQ(pvaDataBaseAddUserWithFeatSize(&key_, rowOf({1, 2, 3}).data(), 4638), 0);
}

TEST_F(DatabaseCallsTest, AddWithPartOfTheTemplatesRepeatsTheFirst) {
    startEngineStore(4);
    EXPECT_EQ(pvaDataBaseAddUserWithFeatSize(&key_, rowOf({1, 2}).data(), 3092), 1);
    EXPECT_EQ(database().blob(1), rowOf({1, 2, 1, 1}));
}

TEST_F(DatabaseCallsTest, AddOfLessThanATemplateReadsNoMoreAndFillsWithZeros) {
    startEngineStore(1);
    const Bytes part(773, 5);
    EXPECT_EQ(pvaDataBaseAddUserWithFeatSize(&key_, part.data(), 773), 1);
    EXPECT_EQ(database().blob(1), padded(part, 1546));
}

TEST_F(DatabaseCallsTest, EverySizeThatDoesNotDivideTheRowIsRefused) {
    startEngineStore(3);
    Bytes data(9276, 1);
    for (const int size : {1000, 0, -1546, 9276, 4639, 2147483647, -2147483647 - 1}) {
        const std::string text =
            "expectedFeatSize 4638 is not a multiple of featSize " + std::to_string(size) + "\r\n";
        EXPECT_EQ(pvaDataBaseAddUserWithFeatSize(&key_, data.data(), size), 0);
        EXPECT_EQ(pvaDataBaseUpdateUserWithFeatSize(&key_, data.data(), size), 0);
        EXPECT_EQ(pvaDataBaseGetFeatWithFeatSize(&key_, data.data(), size), 0);
        EXPECT_THAT(takeEngineLog(), ElementsAre(text, text, text));
    }
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(data, Bytes(9276, 1));
}

TEST_F(DatabaseCallsTest, KeysAreReadWithoutTheirReservedWords) {
    startEngineStore();
    PvaUserKey key = key_;
    key.reserved[0] = key.reserved[1] = key.reserved[2] = -1;
    EXPECT_EQ(pvaDataBaseAddUser(&key, templateOf(1).data()), 1);
    EXPECT_EQ(pvaDataBaseExistUser(&key_), 1);
}

// ---- Updating

TEST_F(DatabaseCallsTest, UpdateReplacesRowAndMirror) {
    startEngineStore(1);
    pvaDataBaseAddUser(&key_, templateOf(1).data());
    EXPECT_EQ(pvaDataBaseUpdateUser(&key_, templateOf(2).data()), 1);
    EXPECT_EQ(database().blob(1), templateOf(2));
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(2)));
}

TEST_F(DatabaseCallsTest, WithOneCentreAnUpdateOfAnAbsentKeyIsAFailure) {
    startEngineStore(1);
    EXPECT_EQ(pvaDataBaseUpdateUser(&absent_, templateOf(2).data()), 0);
    EXPECT_EQ(pvaDataBaseUpdateUserWithFeatSize(&absent_, templateOf(2).data(), 1546), 0);
}

TEST_F(DatabaseCallsTest, WithMoreCentresAnUpdateOfAnAbsentKeyIsASuccess) {
    startEngineStore(2);
    EXPECT_EQ(pvaDataBaseUpdateUser(&absent_, templateOf(2).data()), 1);
    EXPECT_EQ(pvaDataBaseUpdateUserWithFeatSize(&absent_, templateOf(2).data(), 1546), 1);
    EXPECT_EQ(pvaDataBaseUpdateUserWithFeatSize(&absent_, rowOf({1, 2}).data(), 3092), 0);
    EXPECT_EQ(rows(), 0);
}

TEST_F(DatabaseCallsTest, UpdateWidensAndFitsLikeAdd) {
    startEngineStore(3);
    pvaDataBaseAddUser(&key_, templateOf(1).data());
    pvaDataBaseUpdateUser(&key_, templateOf(2).data());
    EXPECT_EQ(database().blob(1), rowOf({2, 2, 2}));
    pvaDataBaseUpdateUserWithFeatSize(&key_, templateOf(3).data(), 1546);
    EXPECT_EQ(database().blob(1), rowOf({3, 3, 3}));
    pvaDataBaseUpdateUserWithFeatSize(&key_, rowOf({4, 5, 6}).data(), 4638);
    EXPECT_EQ(database().blob(1), rowOf({4, 5, 6}));
}

// ---- Reading

TEST_F(DatabaseCallsTest, ReadsTheFirstTemplatesOfARow) {
    startEngineStore(3);
    pvaDataBaseAddUserWithFeatSize(&key_, rowOf({1, 2, 3}).data(), 4638);
    Bytes out(4638, 9);
    EXPECT_EQ(pvaDataBaseGetFeatWithFeatSize(&key_, out.data(), 1546), 1);
    EXPECT_EQ(out, padded(templateOf(1), 4638, 9));
    EXPECT_EQ(pvaDataBaseGetFeatWithFeatSize(&key_, out.data(), 4638), 1);
    EXPECT_EQ(out, rowOf({1, 2, 3}));
    out.assign(4638, 9);
    EXPECT_EQ(pvaDataBaseGetFeatWithFeatSize(&key_, out.data(), 2), 1);
    EXPECT_EQ(out[1], templateOf(1)[1]);
    EXPECT_EQ(out[2], 9);
}

TEST_F(DatabaseCallsTest, ReadsZerosForAnAbsentKey) {
    startEngineStore(2);
    Bytes out(3092, 9);
    EXPECT_EQ(pvaDataBaseGetFeatWithFeatSize(&absent_, out.data(), 3092), 1);
    EXPECT_EQ(out, Bytes(3092, 0));
    out.assign(3092, 9);
    EXPECT_EQ(pvaDataBaseGetFeat(&absent_, out.data()), 1);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 1536), Bytes(1536, 0));
}

TEST_F(DatabaseCallsTest, ReadsABlobOfAnotherSizeWithoutOverrunningTheRow) {
    startEngineStore(1);
    database().insertRow(1, 11, 4, rowOf({1, 2, 3}));
    database().insertRow(2, 11, 5, Bytes(100, 7));
    Bytes out(1546, 9);
    EXPECT_EQ(pvaDataBaseGetFeatWithFeatSize(&key_, out.data(), 1546), 1);
    EXPECT_EQ(out, templateOf(1));
    EXPECT_EQ(pvaDataBaseGetFeat(&absent_, out.data()), 1);
    EXPECT_EQ(out, padded(Bytes(100, 7), 1546));
}

TEST_F(DatabaseCallsTest, WithOneCentreTheConsensusIsTheTemplateWithItsTrailer) {
    startEngineStore(1);
    pvaDataBaseAddUser(&key_, templateOf(1).data());
    Bytes out(1546, 9);
    EXPECT_EQ(pvaDataBaseGetFeat(&key_, out.data()), 1);
    EXPECT_EQ(out, templateOf(1));
}

TEST_F(DatabaseCallsTest, TheConsensusIsTheTruncatedMeanOfEachBlock) {
    startEngineStore(3);
    const Bytes row = rowOf({1, 2, 3});
    pvaDataBaseAddUserWithFeatSize(&key_, row.data(), 4638);
    Bytes out(1550, 9);
    EXPECT_EQ(pvaDataBaseGetFeat(&key_, out.data()), 1);
    for (std::size_t place = 0; place < 1536; ++place) {
        const int sum = static_cast<std::int8_t>(row[place]) +
                        static_cast<std::int8_t>(row[place + 1546]) +
                        static_cast<std::int8_t>(row[place + 3092]);
        EXPECT_EQ(static_cast<std::int8_t>(out[place]), sum / 3) << place;
    }
    EXPECT_EQ(Bytes(out.begin() + 1536, out.end()), Bytes(14, 9));
}

TEST_F(DatabaseCallsTest, WithoutCentresThereIsNoConsensus) {
    Bytes out(1546, 9);
    startEngineStore(-1);
    EXPECT_EQ(pvaDataBaseGetFeat(&key_, out.data()), 0);
    EXPECT_THAT(takeEngineLog(), ElementsAre("malloc feat_int8 failed\r\n"));
    startEngineStore(0);
    try {
        pvaDataBaseGetFeat(&key_, out.data());
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Vector collection is empty");
    }
    EXPECT_EQ(out, Bytes(1546, 9));
}

TEST_F(DatabaseCallsTest, WithoutCentresWritesReportSuccessAndStoreNothing) {
    startEngineStore(0);
    Bytes data(3092, 9);
    EXPECT_EQ(pvaDataBaseAddUser(&key_, data.data()), 1);
    EXPECT_EQ(pvaDataBaseAddUserWithFeatSize(&key_, data.data(), 3092), 1);
    EXPECT_EQ(pvaDataBaseUpdateUser(&key_, data.data()), 1);
    EXPECT_EQ(pvaDataBaseGetFeatWithFeatSize(&key_, data.data(), 3092), 1);
    EXPECT_EQ(data, Bytes(3092, 9));
    EXPECT_EQ(rows(), 0);
}

// ---- Deleting and listing

TEST_F(DatabaseCallsTest, DeletesAPalmOnce) {
    startEngineStore();
    EXPECT_EQ(pvaDataBaseDeleteUser(&key_), 0);
    pvaDataBaseAddUser(&key_, templateOf(1).data());
    EXPECT_EQ(pvaDataBaseDeleteUser(&absent_), 0);
    EXPECT_EQ(pvaDataBaseDeleteUser(&key_), 1);
    EXPECT_EQ(pvaDataBaseDeleteUser(&key_), 0);
    EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 0);
}

TEST_F(DatabaseCallsTest, ListsTheSignExtendedPalmNumbersOfAUser) {
    startEngineStore();
    for (const int palm : {3, -7}) {
        const PvaUserKey key = keyOf(-1, palm);
        pvaDataBaseAddUser(&key, templateOf(palm).data());
    }
    std::array<std::int64_t, 3> palms{0, 0, 99};
    int count = 0;
    EXPECT_EQ(pvaDataBaseGetPalmNumFromUserId(~std::uint64_t{0}, palms.data(), 2, &count), 1);
    EXPECT_EQ(count, 2);
    EXPECT_THAT(palms, ElementsAre(3, -7, 99));
}

TEST_F(DatabaseCallsTest, ATooSmallListIsReportedAndNothingIsWritten) {
    startEngineStore();
    for (const int palm : {1, 2}) {
        const PvaUserKey key = keyOf(5, palm);
        pvaDataBaseAddUser(&key, templateOf(palm).data());
    }
    std::int64_t palm = 99;
    int count = 77;
    for (const std::uint32_t capacity : {0u, 1u}) {
        EXPECT_EQ(stderrOf([&] {
                      EXPECT_EQ(pvaDataBaseGetPalmNumFromUserId(5, &palm, capacity, &count), 0);
                  }),
                  "Buffer size is too small to hold all ids.\n");
    }
    EXPECT_EQ(palm, 99);
    EXPECT_EQ(count, 77);
}

TEST_F(DatabaseCallsTest, AnUnknownUserHasNoListAndTheCountStays) {
    startEngineStore();
    std::int64_t palm = 99;
    int count = 77;
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(pvaDataBaseGetPalmNumFromUserId(5, &palm, 0, &count), 0); }),
              "");
    EXPECT_EQ(count, 77);
}

// ---- What no call may do

TEST_F(DatabaseCallsTest, NullPointersAreLoggedAndTouchNothing) {
    startEngineStore();
    Bytes data = templateOf(1);
    std::int64_t palm = 0;
    int count = 5;
    takeLog();
    const auto expectRefused = [&](int result, const std::string& call) {
        EXPECT_EQ(result, 0);
        EXPECT_THAT(takeLog(), ElementsAre(call + ": null argument\r\n"));
    };
    expectRefused(pvaDataBaseExistUser(nullptr), "pvaDataBaseExistUser");
    expectRefused(pvaDataBaseAddUser(nullptr, data.data()), "pvaDataBaseAddUser");
    expectRefused(pvaDataBaseAddUser(&key_, nullptr), "pvaDataBaseAddUser");
    expectRefused(pvaDataBaseUpdateUser(nullptr, nullptr), "pvaDataBaseUpdateUser");
    expectRefused(pvaDataBaseAddUserWithFeatSize(&key_, nullptr, 1546),
                  "pvaDataBaseAddUserWithFeatSize");
    expectRefused(pvaDataBaseUpdateUserWithFeatSize(nullptr, data.data(), 7),
                  "pvaDataBaseUpdateUserWithFeatSize");
    expectRefused(pvaDataBaseGetFeatWithFeatSize(&key_, nullptr, 1546),
                  "pvaDataBaseGetFeatWithFeatSize");
    expectRefused(pvaDataBaseGetFeat(&key_, nullptr), "pvaDataBaseGetFeat");
    expectRefused(pvaDataBaseGetFeat(nullptr, data.data()), "pvaDataBaseGetFeat");
    expectRefused(pvaDataBaseDeleteUser(nullptr), "pvaDataBaseDeleteUser");
    expectRefused(pvaDataBaseGetPalmNumFromUserId(1, nullptr, 1, &count),
                  "pvaDataBaseGetPalmNumFromUserId");
    expectRefused(pvaDataBaseGetPalmNumFromUserId(1, &palm, 1, nullptr),
                  "pvaDataBaseGetPalmNumFromUserId");
    EXPECT_EQ(data, templateOf(1));
    EXPECT_EQ(count, 5);
    EXPECT_EQ(rows(), 0);
}

TEST_F(DatabaseCallsTest, BeforeTheStartEveryCallNamesItself) {
    Bytes data(1546);
    std::int64_t palm = 0;
    int count = 0;
    const auto expectNamed = [](const std::string& call, const auto& action) {
        try {
            action();
            FAIL() << call << " did not throw";
        } catch (const std::logic_error& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(call));
            EXPECT_THAT(error.what(), testing::HasSubstr("init_pva"));
        }
    };
    engine().store = nullptr;
    expectNamed("pvaDataBaseDeleteAllPalm", [] { pvaDataBaseDeleteAllPalm(); });
    expectNamed("pvaDataBaseDropPalmDatabase", [] { pvaDataBaseDropPalmDatabase(); });
    expectNamed("pvaDataBaseDeletePalmDatabase", [] { pvaDataBaseDeletePalmDatabase(); });
    expectNamed("pvaDataBaseGetAllPalmCount", [] { pvaDataBaseGetAllPalmCount(); });
    expectNamed("pvaDataBaseExistUser", [&] { pvaDataBaseExistUser(&key_); });
    expectNamed("pvaDataBaseAddUser", [&] { pvaDataBaseAddUser(&key_, data.data()); });
    expectNamed("pvaDataBaseUpdateUser", [&] { pvaDataBaseUpdateUser(&key_, data.data()); });
    expectNamed("pvaDataBaseAddUserWithFeatSize",
                [&] { pvaDataBaseAddUserWithFeatSize(&key_, data.data(), 1546); });
    expectNamed("pvaDataBaseUpdateUserWithFeatSize",
                [&] { pvaDataBaseUpdateUserWithFeatSize(&key_, data.data(), 1546); });
    expectNamed("pvaDataBaseGetFeatWithFeatSize",
                [&] { pvaDataBaseGetFeatWithFeatSize(&key_, data.data(), 1546); });
    expectNamed("pvaDataBaseGetFeat", [&] { pvaDataBaseGetFeat(&key_, data.data()); });
    expectNamed("pvaDataBaseDeleteUser", [&] { pvaDataBaseDeleteUser(&key_); });
    expectNamed("pvaDataBaseGetPalmNumFromUserId",
                [&] { pvaDataBaseGetPalmNumFromUserId(1, &palm, 1, &count); });
}

TEST_F(DatabaseCallsTest, WaitForTheLock) {
    startEngineStore();
    std::future<int> call;
    {
        const MutexLock lock(apiLock);
        call = std::async(std::launch::async, [] { return pvaDataBaseGetAllPalmCount(); });
        EXPECT_EQ(call.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    }
    EXPECT_EQ(call.get(), 0);
}

TEST_F(DatabaseCallsTest, MayComeFromSeveralThreads) {
    startEngineStore(2);
    constexpr int kPalms = 20;
    const auto addPalmsOf = [](std::int64_t user) {
        for (int palm = 0; palm < kPalms; ++palm) {
            const PvaUserKey key = keyOf(user, palm);
            EXPECT_EQ(pvaDataBaseAddUser(&key, templateOf(palm).data()), 1);
            EXPECT_EQ(pvaDataBaseExistUser(&key), 1);
        }
    };
    std::thread first(addPalmsOf, 1);
    std::thread second(addPalmsOf, 2);
    first.join();
    second.join();
    EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 2 * kPalms);
    EXPECT_EQ(rows(), 2 * kPalms);
    EXPECT_EQ(store().cache()->count(), 4 * kPalms);
}

}  // namespace
}  // namespace brairu::test
