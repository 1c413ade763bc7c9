// Keys of users reach the database as values, never as text.
#include <gmock/gmock.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>

#include "engineSession.h"
#include "pvAuth.h"
#include "storeTest.h"
#include "support/captureOutput.h"

namespace brairu::test {
namespace {

constexpr auto kLeastId = std::numeric_limits<std::int64_t>::min();
constexpr auto kLargestId = std::numeric_limits<std::int64_t>::max();
constexpr auto kLeastPalm = std::numeric_limits<std::int32_t>::min();
constexpr auto kLargestPalm = std::numeric_limits<std::int32_t>::max();

Bytes templateFrom(const Features& features) {
    return padded({features.begin(), features.end()}, PVA_TEMPLATE_BYTES);
}

class HostileKeys : public EngineSession {
protected:
    OtherConnection database() const { return OtherConnection(folder_.file("palms.db")); }

    // Every database call, an enrolment and an identification with one key.
    static void useEveryCall(const PvaUserKey& key) {
        enrol(key, featuresOf(1));
        PvaAuthResult who{};
        EXPECT_EQ(pvaGetAuthRes(capture(featuresOf(1)).data(), &who), 1);
        EXPECT_EQ(who.userid, key.userid);
        EXPECT_EQ(who.palmindex, key.palmindex);
        EXPECT_EQ(pvaDataBaseExistUser(&key), 1);
        EXPECT_EQ(pvaDataBaseUpdateUser(&key, templateFrom(featuresOf(2)).data()), 1);
        Bytes read(PVA_TEMPLATE_BYTES);
        EXPECT_EQ(pvaDataBaseGetFeat(&key, read.data()), 1);
        EXPECT_EQ(read, templateFrom(featuresOf(2)));
        EXPECT_EQ(pvaDataBaseGetFeatWithFeatSize(&key, read.data(), PVA_TEMPLATE_BYTES), 1);
        std::array<std::int64_t, 2> palms{};
        int count = 0;
        EXPECT_EQ(pvaDataBaseGetPalmNumFromUserId(static_cast<std::uint64_t>(key.userid),
                                                  palms.data(), palms.size(), &count),
                  1);
        EXPECT_EQ(count, 1);
        EXPECT_EQ(palms[0], key.palmindex);
        EXPECT_EQ(pvaDataBaseDeleteUser(&key), 1);
        EXPECT_EQ(pvaDataBaseExistUser(&key), 0);
        EXPECT_EQ(pvaDataBaseAddUser(&key, templateFrom(featuresOf(3)).data()), 1);
        EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 1);
    }

    // The texts of the statements that ran.
    std::set<std::string> statementsWith(const PvaUserKey& key) const {
        std::set<std::string> texts;
        const std::string list = folder_.file("statements");
        freshly([&] {
            start();
            InterposedCalls::get().beforeStep = [&](sqlite3_stmt* statement) {
                if (const char* text = sqlite3_sql(statement)) {
                    texts.insert(text);
                }
            };
            useEveryCall(key);
            InterposedCalls::get().beforeStep = nullptr;
            std::ofstream file(list);
            for (const std::string& text : texts) {
                file << text << '\0';
            }
        });
        std::istringstream file(readFile(list));
        for (std::string text; std::getline(file, text, '\0');) {
            texts.insert(text);
        }
        return texts;
    }
};

TEST_F(HostileKeys, NoStatementShowsAKey) {
    const std::set<std::string> usual = statementsWith({1, 1, {}});
    EXPECT_GE(usual.size(), 10u);
    EXPECT_THAT(usual, testing::Contains("SELECT userid, palmindex FROM userInfo WHERE id = 1;"));
    std::filesystem::remove(folder_.file("palms.db"));
    std::filesystem::remove(folder_.file("palms.bin"));
    EXPECT_EQ(statementsWith({kLeastId, kLeastPalm, {-1, -1, -1}}), usual);
}

class KeyAtItsLimits : public HostileKeys,
                       public testing::WithParamInterface<std::pair<std::int64_t, std::int32_t>> {
protected:
    static PvaUserKey key() { return {GetParam().first, GetParam().second, {}}; }
};

TEST_P(KeyAtItsLimits, IsAKeyLikeAnyOther) {
    freshly([&] {
        start();
        useEveryCall(key());
    });
}

TEST_P(KeyAtItsLimits, IsStoredAsTheNumberThatItIs) {
    freshly([&] {
        start();
        const PvaUserKey hostile = key();
        EXPECT_EQ(pvaDataBaseAddUser(&hostile, templateFrom(featuresOf(1)).data()), 1);
    });
    EXPECT_EQ(database().number("SELECT userid FROM userInfo;"), GetParam().first);
    EXPECT_EQ(database().number("SELECT palmindex FROM userInfo;"), GetParam().second);
    EXPECT_EQ(database().number("SELECT typeof(userid) = 'integer' FROM userInfo;"), 1);
}

TEST_P(KeyAtItsLimits, TouchesNoOtherRow) {
    freshly([&] {
        start();
        constexpr PvaUserKey bystander{77, 7, {}};
        EXPECT_EQ(pvaDataBaseAddUser(&bystander, templateFrom(featuresOf(1)).data()), 1);
        const PvaUserKey hostile = key();
        EXPECT_EQ(pvaDataBaseDeleteUser(&hostile), 0);
        EXPECT_EQ(pvaDataBaseUpdateUser(&hostile, templateFrom(featuresOf(2)).data()), 0);
        EXPECT_EQ(pvaDataBaseAddUser(&hostile, templateFrom(featuresOf(2)).data()), 1);
        EXPECT_EQ(pvaDataBaseDeleteUser(&hostile), 1);
        EXPECT_EQ(pvaDataBaseExistUser(&bystander), 1);
        EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 1);
    });
    EXPECT_EQ(database().blob(1), templateFrom(featuresOf(1)));
}

INSTANTIATE_TEST_SUITE_P(Limits, KeyAtItsLimits,
                         testing::Values(std::pair(kLeastId, kLeastPalm),
                                         std::pair(kLargestId, kLargestPalm), std::pair(0, 0),
                                         std::pair(-1, -1),
                                         std::pair(std::int64_t{1} << 32, kLeastPalm)));

// The one number that is pasted into a statement.
TEST_F(HostileKeys, RowIdsAtTheirLimitsNameNoRow) {
    freshly([&] {
        start();
        enrol({1, 1, {}}, featuresOf(1));
        std::int64_t userid = 5;
        std::int32_t palm = 6;
        for (const int id :
             {std::numeric_limits<int>::min(), -1, 0, 2, std::numeric_limits<int>::max()}) {
            EXPECT_EQ(stderrOf([&] { EXPECT_FALSE(engine().store->keyOfId(id, userid, palm)); }),
                      "No data found for the given UUID.\n");
        }
        EXPECT_EQ(userid, 5);
        EXPECT_EQ(palm, 6);
        EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 1);
    });
}

}  // namespace
}  // namespace brairu::test
