#include "config/configStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <limits>

#include "support/captureOutput.h"
#include "support/fileTimes.h"
#include "support/temporaryFolder.h"

namespace brairu {
namespace {

using Json = nlohmann::json;
using test::readFile;
using test::stdoutOf;
using test::TemporaryFolder;

template <class Exception = Json::type_error>
std::string messageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Exception& fault) {
        return fault.what();
    }
    return "nothing was raised";
}

class ConfigStoreTest : public testing::Test {
protected:
    // Loads a text that is expected to parse.
    void loadText(std::string_view text) {
        EXPECT_EQ(stdoutOf([&] { EXPECT_TRUE(store_.load(folder_.write("config", text))); }), "");
    }

    // Loads a text that is expected not to parse; what was printed.
    std::string loadBroken(std::string_view text) {
        return stdoutOf([&] { EXPECT_FALSE(store_.load(folder_.write("config", text))); });
    }

    std::string saved() const { return readFile(folder_.file("config")); }

    TemporaryFolder folder_;
    ConfigStore store_;
};

TEST_F(ConfigStoreTest, StartsWithANullDocument) {
    EXPECT_TRUE(store_.document().is_null());
    EXPECT_FALSE(store_.has("handpose", ""));
    EXPECT_FALSE(store_.has("handpose", "input_w"));
}

TEST_F(ConfigStoreTest, LoadsADocument) {
    loadText(R"({"feature": {"security_level": 3}, "debug": true})");
    EXPECT_EQ(store_.document()["feature"]["security_level"], 3);
    EXPECT_EQ(store_.document()["debug"], true);
}

TEST_F(ConfigStoreTest, LoadsADocumentOfAnyYear) {
    const std::string path = folder_.write("config", R"({"debug": true})");
    test::stampIn2040(path);
    EXPECT_TRUE(store_.load(path));
    EXPECT_EQ(store_.document()["debug"], true);
}

TEST_F(ConfigStoreTest, WritesSectionsAndKeysBackInTheirOrder) {
    loadText(
        R"({"feature":{"z":1,"a":2},"debug":false,"database":{"m":3,"b":4},"handpose":{"y":5}})");
    store_.set("database", "b", 6u);
    EXPECT_EQ(saved(), R"({
    "feature": {
        "z": 1,
        "a": 2
    },
    "debug": false,
    "database": {
        "m": 3,
        "b": 6
    },
    "handpose": {
        "y": 5
    }
})");
}

TEST_F(ConfigStoreTest, AppendsNewKeysAtTheEnd) {
    loadText(R"({"feature":{"z":1}})");
    store_.set("feature", "a", 0.5f);
    store_.set("database", "m", 2u);
    EXPECT_EQ(saved(),
              "{\n    \"feature\": {\n        \"z\": 1,\n        \"a\": 0.5\n    },\n"
              "    \"database\": {\n        \"m\": 2\n    }\n}");
}

TEST_F(ConfigStoreTest, KeepsTextsInUtf8) {
    loadText(R"({"feature":{"name":"手掌"}})");
    store_.save();
    EXPECT_EQ(saved(), "{\n    \"feature\": {\n        \"name\": \"手掌\"\n    }\n}");
}

TEST_F(ConfigStoreTest, WritesAFloatAsItsDouble) {
    loadText("{}");
    store_.set("feature", "auth_threshold", 0.7f);
    EXPECT_TRUE(store_.document()["feature"]["auth_threshold"].is_number_float());
    EXPECT_EQ(store_.document()["feature"]["auth_threshold"].get<double>(),
              static_cast<double>(0.7f));
    EXPECT_EQ(Json::parse(saved())["feature"]["auth_threshold"].get<double>(),
              static_cast<double>(0.7f));
}

TEST_F(ConfigStoreTest, WritesUnsignedValuesUnsigned) {
    loadText("{}");
    store_.set("handpose", "brightness_threshold_max", 4294967295u);
    EXPECT_TRUE(store_.document()["handpose"]["brightness_threshold_max"].is_number_unsigned());
    EXPECT_EQ(Json::parse(saved())["handpose"]["brightness_threshold_max"], 4294967295u);
}

TEST_F(ConfigStoreTest, SetWithoutAKeyAssignsTheSection) {
    loadText(R"({"debug": false})");
    store_.set("debug", "", true);
    EXPECT_EQ(saved(), "{\n    \"debug\": true\n}");
}

TEST_F(ConfigStoreTest, SetIntoAWrongTypeRaisesAndSavesNothing) {
    const std::string text = R"({"feature":[1]})";
    loadText(text);
    EXPECT_EQ(messageOf([&] { store_.set("feature", "auth_threshold", 1.0f); }),
              "[json.exception.type_error.305] cannot use operator[] with a string argument with "
              "array");
    EXPECT_EQ(saved(), text);
}

TEST_F(ConfigStoreTest, SetIntoAnEmptyStoreMakesTheDocument) {
    store_.set("feature", "security_level", 2u);
    EXPECT_EQ(store_.document(), ConfigDocument::parse(R"({"feature":{"security_level":2}})"));
}

TEST_F(ConfigStoreTest, ReportsAFileThatIsNotThere) {
    loadText(R"({"debug": true})");
    const std::string missing = folder_.file("missing");
    EXPECT_EQ(stdoutOf([&] { EXPECT_FALSE(store_.load(missing)); }),
              "Failed to open config file: " + missing + "\n");
    EXPECT_EQ(store_.document()["debug"], true) << "the document stays";
}

TEST_F(ConfigStoreTest, ReportsAnEmptyPath) {
    EXPECT_EQ(stdoutOf([&] { EXPECT_FALSE(store_.load("")); }), "Failed to open config file: \n");
}

TEST_F(ConfigStoreTest, AFailedLoadChangesWhereSetSaves) {
    loadText(R"({"debug": true})");
    const std::string other = folder_.file("other");
    stdoutOf([&] { EXPECT_FALSE(store_.load(other)); });
    store_.set("debug", "", false);
    EXPECT_EQ(readFile(other), "{\n    \"debug\": false\n}");
    EXPECT_EQ(saved(), R"({"debug": true})") << "the first file stays";
}

TEST_F(ConfigStoreTest, ReportsTextThatDoesNotParse) {
    EXPECT_EQ(loadBroken("{\"debug\": tru}"),
              "Error parsing config file: [json.exception.parse_error.101] parse error at line 1, "
              "column 14: syntax error while parsing value - invalid literal; last read: "
              "'\"debug\": tru}'\n");
}

TEST_F(ConfigStoreTest, RefusesNestingThatNoStackCouldCopyAndKeepsTheDocument) {
    loadText(R"({"debug": true})");
    EXPECT_EQ(loadBroken(std::string(100000, '[')),
              "Error parsing config file: nested too deeply\n");
    EXPECT_EQ(store_.document()["debug"], true);
}

TEST_F(ConfigStoreTest, RefusesWhatIsFarLongerThanAConfiguration) {
    constexpr const char* kRefusal = "Error parsing config file: longer than 1 MiB\n";
    const std::string longest = "{\"debug\": true" + std::string((1 << 20) - 15, ' ') + "}";
    loadText(longest);
    EXPECT_EQ(loadBroken(longest + " "), kRefusal);
    EXPECT_EQ(stdoutOf([&] { EXPECT_FALSE(store_.load("/dev/zero")); }), kRefusal);
    EXPECT_EQ(store_.document()["debug"], true);
}

TEST_F(ConfigStoreTest, SavesWhereTheFileWasWhereverTheProcessGoes) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
    folder_.write("config", "{}");
    EXPECT_TRUE(store_.load("config"));
    std::filesystem::current_path(before);
    store_.set("debug", "", true);
    EXPECT_EQ(saved(), "{\n    \"debug\": true\n}");
}

TEST_F(ConfigStoreTest, CountsNoBracketsInsideOfStrings) {
    loadText("{\"text\": \"\\\"" + std::string(200, '[') + "\"}");
    loadText("[" + std::string(200, ' ') + "[], [[]], {}, [[[{}]]]]");
}

TEST_F(ConfigStoreTest, ReportsAnEmptyFileAndKeepsTheDocument) {
    loadText(R"({"debug": true})");
    EXPECT_EQ(loadBroken(""),
              "Error parsing config file: [json.exception.parse_error.101] parse error at line 1, "
              "column 1: syntax error while parsing value - unexpected end of input; expected '[', "
              "'{', or a literal\n");
    EXPECT_EQ(store_.document()["debug"], true);
}

TEST_F(ConfigStoreTest, KeepsWhatWasReadBeforeTheFault) {
    loadText(R"({"feature": {"security_level": 3}, "debug": true})");
    EXPECT_THAT(loadBroken(R"({"feature": {"security_level": 4}, "handpose": {"input_w": )"),
                testing::StartsWith("Error parsing config file: [json.exception.parse_error.101]"));
    EXPECT_EQ(store_.document()["feature"]["security_level"], 4);
    EXPECT_FALSE(store_.has("debug", "")) << "nothing of the earlier document";
}

TEST_F(ConfigStoreTest, RefusesWhatFollowsTheDocument) {
    EXPECT_EQ(
        loadBroken("{\"debug\": true}\n}"),
        "Error parsing config file: [json.exception.parse_error.101] parse error at line 2, "
        "column 1: syntax error while parsing value - unexpected '}'; expected end of input\n");
    EXPECT_EQ(store_.document()["debug"], true);
}

TEST_F(ConfigStoreTest, AcceptsWhiteSpaceAfterTheDocument) {
    loadText("{\"debug\": true}\n \t\r\n");
}

TEST_F(ConfigStoreTest, RefusesComments) {
    EXPECT_THAT(loadBroken("{} // no"), testing::StartsWith("Error parsing config file: "));
}

TEST_F(ConfigStoreTest, ReportsTextThatIsNotUtf8) {
    EXPECT_THAT(loadBroken("{\"name\": \"\xff\"}"),
                testing::StartsWith("Error parsing config file: "));
}

TEST_F(ConfigStoreTest, ReportsAFolder) {
    EXPECT_THAT(stdoutOf([&] { EXPECT_FALSE(store_.load(folder_.path().string())); }),
                testing::StartsWith("Error parsing config file: "));
}

TEST_F(ConfigStoreTest, LaterLoadsReplaceTheWholeDocument) {
    loadText(R"({"feature": {"a": 1}})");
    loadText(R"({"handpose": {}})");
    EXPECT_FALSE(store_.has("feature", ""));
    EXPECT_TRUE(store_.has("handpose", ""));
}

TEST_F(ConfigStoreTest, SavesOverATruncatedCopyOfItself) {
    loadText(R"({"debug": true})");
    folder_.write("config", "{");
    store_.save();
    EXPECT_EQ(saved(), "{\n    \"debug\": true\n}");
}

TEST_F(ConfigStoreTest, FailureToSaveIsSilent) {
    stdoutOf([&] { store_.load(folder_.file("no/such/folder")); });
    EXPECT_EQ(stdoutOf([&] { store_.set("debug", "", true); }), "");
    EXPECT_EQ(store_.document()["debug"], true);
}

TEST_F(ConfigStoreTest, SavingKeepsTheMode) {
    loadText("{}");
    ASSERT_EQ(::chmod(folder_.file("config").c_str(), 0600), 0);
    store_.save();
    struct stat status {};
    ASSERT_EQ(::stat(folder_.file("config").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(ConfigStoreTest, HasLooksForSectionAndKey) {
    loadText(R"({"handpose": {"input_w": null}, "debug": true, "list": ["input_w"]})");
    EXPECT_TRUE(store_.has("handpose", "input_w")) << "a null is there";
    EXPECT_FALSE(store_.has("handpose", "input_h"));
    EXPECT_FALSE(store_.has("feature", "input_w"));
    EXPECT_FALSE(store_.has("debug", "input_w"));
    EXPECT_FALSE(store_.has("list", "input_w"));
    EXPECT_TRUE(store_.has("debug", ""));
    EXPECT_FALSE(store_.has("feature", ""));
}

TEST_F(ConfigStoreTest, HasInsertsNothing) {
    loadText("{}");
    store_.has("handpose", "input_w");
    EXPECT_EQ(store_.document(), ConfigDocument::object());
}

TEST_F(ConfigStoreTest, HasIsFalseInADocumentThatIsNoObject) {
    loadText(R"(["handpose"])");
    EXPECT_FALSE(store_.has("handpose", ""));
    EXPECT_FALSE(store_.has("handpose", "input_w"));
}

// ---- Typed reads

ConfigDocument valued(std::string_view text) {
    return ConfigDocument::parse("{\"s\":{\"k\":" + std::string(text) + "}}");
}

int asInt(std::string_view text) {
    ConfigDocument document = valued(text);
    return readInt(document, "s", "k");
}

float asFloat(std::string_view text) {
    ConfigDocument document = valued(text);
    return readFloat(document, "s", "k");
}

TEST(ConfigReads, ReadsIntegersOfEveryNumberType) {
    EXPECT_EQ(asInt("2"), 2);
    EXPECT_EQ(asInt("-2"), -2);
    EXPECT_EQ(asInt("2.7"), 2);
    EXPECT_EQ(asInt("-2.7"), -2);
    EXPECT_EQ(asInt("true"), 1);
    EXPECT_EQ(asInt("false"), 0);
}

TEST(ConfigReads, ReadsFloatsOfEveryNumberType) {
    EXPECT_EQ(asFloat("0.7"), 0.7f);
    EXPECT_EQ(asFloat("3"), 3.0f);
    EXPECT_EQ(asFloat("-3"), -3.0f);
    EXPECT_EQ(asFloat("true"), 1.0f);
}

TEST(ConfigReads, SurvivesNumbersThatDoNotFit) {
    EXPECT_EQ(asInt("1e300"), std::numeric_limits<int>::max());
    EXPECT_EQ(asInt("-1e300"), std::numeric_limits<int>::min());
    EXPECT_EQ(asInt("4294967298"), 2) << "integers keep their low 32 bits";
    EXPECT_EQ(asInt("-4294967295"), 1);
    EXPECT_EQ(asInt("18446744073709551615"), -1);
    EXPECT_EQ(asFloat("1e300"), std::numeric_limits<float>::infinity());
}

class WrongNumber : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(WrongNumber, RaisesTheTypeErrorThatNamesTheType) {
    const auto [text, type] = GetParam();
    const std::string message =
        std::string("[json.exception.type_error.302] type must be number, but is ") + type;
    EXPECT_EQ(messageOf([&] { asInt(text); }), message);
    EXPECT_EQ(messageOf([&] { asFloat(text); }), message);
}

INSTANTIATE_TEST_SUITE_P(Types, WrongNumber,
                         testing::Values(std::pair{"\"2\"", "string"}, std::pair{"null", "null"},
                                         std::pair{"[2]", "array"}, std::pair{"{}", "object"}));

TEST(ConfigReads, ReadsTexts) {
    ConfigDocument document = valued("\"models/a.net\"");
    EXPECT_EQ(readText(document, "s", "k"), "models/a.net");
}

TEST(ConfigReads, RaisesForATextThatIsNone) {
    ConfigDocument document = valued("2");
    EXPECT_EQ(messageOf([&] { readText(document, "s", "k"); }),
              "[json.exception.type_error.302] type must be string, but is number");
}

TEST(ConfigReads, InsertsAMissingSectionAndRaises) {
    ConfigDocument document = ConfigDocument::parse(R"({"feature":{}})");
    EXPECT_EQ(messageOf([&] { readInt(document, "handpose", "input_w"); }),
              "[json.exception.type_error.302] type must be number, but is null");
    EXPECT_EQ(document.dump(), R"({"feature":{},"handpose":{"input_w":null}})");
}

TEST(ConfigReads, MakesAnObjectOfANullDocument) {
    ConfigDocument document;
    EXPECT_EQ(messageOf([&] { readText(document, "feature", "model_path_net"); }),
              "[json.exception.type_error.302] type must be string, but is null");
    EXPECT_EQ(document.dump(), R"({"feature":{"model_path_net":null}})");
}

TEST(ConfigReads, RaisesForASectionThatIsNoObject) {
    ConfigDocument document = ConfigDocument::parse(R"({"handpose":"x"})");
    EXPECT_EQ(messageOf([&] { readInt(document, "handpose", "input_w"); }),
              "[json.exception.type_error.305] cannot use operator[] with a string argument with "
              "string");
}

TEST(ConfigReads, RaisesForADocumentThatIsNoObject) {
    ConfigDocument document = ConfigDocument::parse("[1]");
    EXPECT_EQ(messageOf([&] { readInt(document, "handpose", "input_w"); }),
              "[json.exception.type_error.305] cannot use operator[] with a string argument with "
              "array");
}

}  // namespace
}  // namespace brairu
