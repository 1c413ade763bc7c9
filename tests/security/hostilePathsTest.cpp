// Names of files are names, whatever is in them: to the library, to SQLite and to the shell that
// the wipe runs.
#include <gmock/gmock.h>

#include <array>
#include <cctype>
#include <filesystem>
#include <set>
#include <sstream>

#include "engineSession.h"

namespace brairu::test {
namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;

// Without the note that may lie beside a cache file.
Names namesIn(const fs::path& folder) {
    Names names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (!name.ends_with(".changed")) {
            names.insert(name);
        }
    }
    return names;
}

// A name that makes a test's.
std::string printable(const std::string& name) {
    std::ostringstream text;
    for (const char character : name.substr(0, 24)) {
        if (std::isalnum(static_cast<unsigned char>(character))) {
            text << character;
        } else {
            text << '_' << int{static_cast<unsigned char>(character)};
        }
    }
    return text.str();
}

std::string nameOfTest(const testing::TestParamInfo<std::string>& name) {
    std::ostringstream text;
    text << name.index << '_' << printable(name.param);
    return text.str();
}

// A folder where the process works, with bystanders that a command would touch.
class WipeOfAHostileName : public EngineSession, public testing::WithParamInterface<std::string> {
protected:
    WipeOfAHostileName() {
        place_.write("a.txt", "stays");
        place_.write("innocent", "stays");
        fs::create_directory(place_.file("folder"));
        folder_.document["database"]["database_path"] = folder_.file("palms.db");
    }

    // Starts with that relative path and wipes, by one of the three calls.
    void wipe(const std::string& indexPath) {
        constexpr std::array kWipes{&pvaDataBaseDeleteAllPalm, &pvaDataBaseDropPalmDatabase,
                                    &pvaDataBaseDeletePalmDatabase};
        folder_.document["database"]["search_index_path"] = indexPath;
        freshly([&] {
            fs::current_path(place_.path());
            start();
            EXPECT_TRUE(fs::exists(fs::path(".") / indexPath));
            EXPECT_EQ(kWipes[indexPath.size() % kWipes.size()](), 1);
            EXPECT_FALSE(fs::exists(fs::path(".") / indexPath));
        });
    }

    TemporaryFolder place_;
};

TEST_P(WipeOfAHostileName, RemovesThatFileAndRunsNothing) {
    const Names before = namesIn(place_.path());
    wipe(GetParam());
    EXPECT_EQ(namesIn(place_.path()), before);
    EXPECT_EQ(readFile(place_.file("innocent")), "stays");
}

TEST_P(WipeOfAHostileName, RemovesAFileInAFolderOfThatNameAndRunsNothing) {
    fs::create_directory(place_.path() / GetParam());
    const Names before = namesIn(place_.path());
    wipe(GetParam() + "/palms.bin");
    EXPECT_EQ(namesIn(place_.path()), before);
    EXPECT_EQ(namesIn(place_.path() / GetParam()), Names{});
}

INSTANTIATE_TEST_SUITE_P(
    Names, WipeOfAHostileName,
    testing::Values("-rf", "--", "--help", "-", "it's", "'", "''", "\"", "\\", "\\'", "a\\nb",
                    "$(touch owned)", "`touch owned`", "a; touch owned", "a && touch owned",
                    "a & touch owned", "a | touch owned", "a > owned", "a\ntouch owned\n",
                    "'; touch owned; '", "\"; touch owned; \"", "'$(touch owned)'",
                    "\\'; touch owned; \\'", "*", "*.txt", "[a-z]nnocent", "{a.txt,innocent}", "~",
                    "~root", "# no more", "!!", "$HOME", "${IFS}", " ", "  leading", "trailing ",
                    "a\tb", "innocent a.txt", "\r", "\x1b[31m", "掌 静脉", "=", "%s%n"),
    nameOfTest);

// ---- Names that are merely unusual

const std::string kLong(200, 'n');

class UnusualName : public EngineSession, public testing::WithParamInterface<std::string> {
protected:
    // Everything that the engine opens bears the name, in a folder that does too.
    UnusualName() {
        fs::create_directory(place_);
        auto& document = folder_.document;
        document["database"]["database_path"] = (place_ / (GetParam() + ".db")).string();
        document["database"]["search_index_path"] = (place_ / (GetParam() + ".bin")).string();
        for (const char* key : {"model_path_net", "model_path_blobs"}) {
            moveModel(document["handpose"][key]);
            moveModel(document["feature"][key]);
            moveModel(document["feature"][std::string("support_") + key]);
        }
    }

    void moveModel(nlohmann::ordered_json& path) const {
        const fs::path from = path.get<std::string>();
        const fs::path to = place_ / (GetParam() + from.filename().string());
        fs::rename(from, to);
        path = to.string();
    }

    std::string configPath() const { return (place_ / GetParam()).string(); }

    void startThere() const { ASSERT_EQ(init_pva(configPath().c_str()), 1u); }

    fs::path place_ = fs::path(folder_.file("")) / GetParam();
};

TEST_P(UnusualName, ServesEveryFile) {
    fs::copy_file(folder_.writeConfig(), configPath());
    const PvaUserKey key{5, 1, {}};
    freshly([&] {
        startThere();
        enrol(key, featuresOf(1));
        EXPECT_EQ(pvaConfigSetEnhance(41), 1u);
    });
    EXPECT_EQ(namesIn(place_).size(), 9u);  // six models, configuration, database, cache
    EXPECT_THAT(readFile(configPath()), testing::HasSubstr("\"enable_enhance\": 41"));
    freshly([&] {
        startThere();
        PvaAuthResult who{};
        EXPECT_EQ(pvaGetAuthRes(capture(featuresOf(1)).data(), &who), 1);
        EXPECT_EQ(who.userid, 5);
        EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 1);
    });
    EXPECT_FALSE(fs::exists(place_ / (GetParam() + ".bin")));
}

INSTANTIATE_TEST_SUITE_P(Names, UnusualName,
                         testing::Values("two words", "it's", "\"quoted\"", "掌静脉 ü é", "-dash",
                                         "100%", "a&b;c", "$HOME", "back\\slash", "question?mark",
                                         "hash#mark", kLong),
                         nameOfTest);

}  // namespace
}  // namespace brairu::test
