// doctor: the set-up as a whole, and what it says of files that are damaged.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// What doctor says of an area at a level, end to end.
std::string said(const Json& result, const std::string& level, const std::string& area) {
    std::string text;
    for (const Json& finding : result["findings"]) {
        if (finding["level"] == level && finding["area"] == area) {
            text += finding["what"].get<std::string>() + "\n" +
                    finding.value("advice", std::string()) + "\n";
        }
    }
    return text;
}

TEST(Doctor, FindsAnEnrolledSetUpInOrderAndChangesNothing) {
    const ToolPlace place;
    place.haveEnrolled();
    const std::vector<std::string> before = place.storeState();
    const ToolRun run = place.run({"doctor"});
    EXPECT_EQ(run.exitStatus, 0) << run.out;
    EXPECT_THAT(run.out, AllOf(HasSubstr("[ok]       models: hand-pose network: "),
                               HasSubstr("[ok]       models: support network: "),
                               HasSubstr("[ok]       database: 1 palm enrolled\n"),
                               HasSubstr(place.cachePath() + " agrees with the database\n"),
                               HasSubstr("the search runs the kernel "), HasSubstr("OpenCV "),
                               HasSubstr("libbrairu"), HasSubstr("\nin order: 0 faults, ")));
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_EQ(place.storeState(), before);
}

TEST(Doctor, TellsTheVersionsOfLibraryAndToolAndTheFileOfTheLibrary) {
    const ToolPlace place;
    const std::string version = place.runAsItIs({"--version"}).out;
    const std::string number = version.substr(0, version.find('\n'));
    const std::string system = said(place.run({"doctor", "--json"}).json(), "ok", "system");
    EXPECT_THAT(system,
                testing::ContainsRegex("libbrairu [0-9.]+ in /[^\n]*/libbrairu\\.so\\.[0-9]+"
                                       "\\.[0-9]+\\.[0-9]+, this tool [0-9.]+\n"));
    EXPECT_THAT(system, HasSubstr(", this tool " + number.substr(number.rfind(' ') + 1) + "\n"));
}

TEST(Doctor, TriesACaptureWhoseAnswerIsKnown) {
    const ToolPlace place;
    const Json result = place.run({"doctor", "--json"}).json();
    EXPECT_EQ(result["result"], "in_order");
    EXPECT_THAT(said(result, "ok", "capture"),
                HasSubstr("a rendered palm is known again, and told from another"));
    EXPECT_THAT(place.storeState(), IsEmpty());
}

TEST(Doctor, WarnsOfWhatDoesNotKeepTheEngineFromStarting) {
    ToolPlace place;
    place.config["handpose"]["blur_threshold"] = 1e6;
    const std::string config = place.write("brairu.json", place.config.dump());
    std::filesystem::permissions(config, std::filesystem::perms(0666));
    ::setenv("BRAIRU_SEARCH_KERNEL", "abacus", 1);
    const ToolRun run = place.runAsItIs({"--config", config, "--json", "doctor"});
    ::unsetenv("BRAIRU_SEARCH_KERNEL");
    EXPECT_EQ(run.exitStatus, 0);
    const Json result = run.json();
    EXPECT_THAT(said(result, "warning", "capture"),
                StartsWith("every frame of a rendered palm is refused, the palm is blurred: "));
    EXPECT_THAT(said(result, "warning", "configuration"),
                StartsWith(config + " can be changed by other users\n"));
    EXPECT_THAT(said(result, "warning", "system"),
                HasSubstr("BRAIRU_SEARCH_KERNEL asks for \"abacus\", which cannot run here"));
}

TEST(Doctor, SurvivesAConfigurationThatIsMissing) {
    const ToolPlace place;
    const ToolRun run = place.runAsItIs({"--config", place.file("none.json"), "doctor"});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.out, AllOf(HasSubstr("[FAULT]    configuration: the configuration " +
                                         place.file("none.json") + " cannot be read"),
                               HasSubstr("not in order: 1 fault, ")));
}

TEST(Doctor, SurvivesAConfigurationThatIsNoJson) {
    const ToolPlace place;
    const std::string path = place.write("broken.json", "{\"handpose\": ");
    const ToolRun run = place.runAsItIs({"--config", path, "--json", "doctor"});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(said(run.json(), "fault", "configuration"), HasSubstr(path + " is no JSON: "));
}

TEST(Doctor, GoesOnToTheFilesPastAFaultySetting) {
    ToolPlace place;
    place.config["feature"]["security_level"] = "2";
    const ToolRun run = place.run({"doctor", "--json"});
    EXPECT_EQ(run.exitStatus, 3);
    const Json result = run.json();
    EXPECT_EQ(said(result, "fault", "configuration"),
              "feature.security_level (how many matches in a row confirm a palm) is string, not a "
              "whole number from 1 to 100\n"
              "Set feature.security_level to a whole number from 1 to 100.\n");
    EXPECT_THAT(said(result, "ok", "models"), HasSubstr("support network"));
    EXPECT_THAT(said(result, "note", "database"), HasSubstr("is not there yet"));
    EXPECT_THAT(said(result, "note", "capture"), StartsWith("not tried"));
}

TEST(Doctor, NamesEveryModelFileThatIsAtFault) {
    ToolPlace place;
    const std::string folder = std::filesystem::path(place.configPath()).parent_path().string();
    place.config["handpose"]["model_path_net"] = place.write("short.net", "short");
    place.config["handpose"]["model_path_blobs"] = folder;
    place.config["feature"]["support_model_path_blobs"] = place.file("none.blobs");
    const std::string damaged = place.ownModel("feature", "model_path_blobs");
    std::filesystem::resize_file(damaged, std::filesystem::file_size(damaged) - 7);
    const ToolRun run = place.run({"doctor", "--json"});
    EXPECT_EQ(run.exitStatus, 3);
    const std::string faults = said(run.json(), "fault", "models");
    EXPECT_THAT(faults, HasSubstr(place.file("short.net") + " is too short for a model container"));
    EXPECT_THAT(faults, HasSubstr(folder + " is no file"));
    EXPECT_THAT(faults, HasSubstr(place.file("none.blobs") + " is not there: No such file"));
    EXPECT_THAT(faults, AllOf(HasSubstr("feature network ("), HasSubstr(damaged),
                              HasSubstr("the NPU stack refused a network: "),
                              HasSubstr("both must be of one training")));
}

TEST(Doctor, TellsANetworkOfAnotherKind) {
    ToolPlace place;
    place.config["handpose"]["model_path_net"] = place.config["feature"]["model_path_net"];
    place.config["handpose"]["model_path_blobs"] = place.config["feature"]["model_path_blobs"];
    EXPECT_THAT(said(place.run({"doctor", "--json"}).json(), "fault", "models"),
                HasSubstr("of 512 bytes, the engine reads 10752"));
}

TEST(Doctor, FindsADamagedDatabaseAndListsEverySettingOnRequest) {
    const ToolPlace place;
    place.write("palms.db", std::string(2000, 'x'));
    const ToolRun run = place.run({"doctor", "--json", "--settings"});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(said(run.json(), "fault", "database"), HasSubstr("file is not a database"));
    const Json settings = run.json()["settings"];
    ASSERT_EQ(settings.size(), 34U);
    EXPECT_EQ(settings[0]["name"], "handpose.input_w");
    EXPECT_EQ(settings[0]["value"], 128);
    EXPECT_EQ(settings[0]["range"], "a whole number from 16 to 1024");
}

TEST(Doctor, ListsSettingsEvenOfAConfigurationThatIsMissing) {
    const ToolPlace place;
    const ToolRun run =
        place.runAsItIs({"--config", place.file("none.json"), "doctor", "--settings"});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.out, HasSubstr("feature.security_level = (absent)\n    how many matches in a "
                                   "row confirm a palm; a whole number from 1 to 100\n"));
}

}  // namespace
}  // namespace brairu::test
