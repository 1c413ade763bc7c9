// The command line as a whole: help, usage, exit statuses, faults before any work.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST(CommandLine, HelpListsEveryCommandAndTheExitStatuses) {
    const ToolPlace place;
    const ToolRun run = place.runAsItIs({"--help"});
    EXPECT_EQ(run.exitStatus, 0);
    for (const char* command : {"doctor", "detect", "enrol", "identify", "verify", "watch", "eval",
                                "models", "palms", "bench"}) {
        EXPECT_THAT(run.out, HasSubstr(command));
    }
    EXPECT_THAT(run.out, HasSubstr("Exit status: 0 done"));
}

TEST(CommandLine, EveryCommandHasHelpOfItsOwn) {
    const ToolPlace place;
    for (const char* command : {"doctor", "detect", "enrol", "identify", "verify", "watch", "eval",
                                "models", "palms", "bench"}) {
        const ToolRun run = place.runAsItIs({command, "--help"});
        EXPECT_EQ(run.exitStatus, 0);
        EXPECT_THAT(run.out, AllOf(HasSubstr(std::string("brairu ") + command),
                                   HasSubstr("Exit status: 0 done")));
        EXPECT_THAT(run.err, IsEmpty());
    }
}

TEST(CommandLine, WrongUsageEndsWithStatus2) {
    const ToolPlace place;
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{},
          {"detect"},
          {"verify", "one.png"},
          {"doctor", "--no"},
          {"enrol", "--user", "x", "--palm", "0", "a.png"}}) {
        const ToolRun run = place.runAsItIs(arguments);
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_THAT(run.out, IsEmpty());
        EXPECT_THAT(run.err, HasSubstr("--help"));
    }
}

TEST(CommandLine, AnUnknownCommandIsNamed) {
    const ToolPlace place;
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"enroll"}, {"db", "enroll"}}) {
        const ToolRun run = place.runAsItIs(arguments);
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(run.err, "\"enroll\" is no command\nRun with --help for more information.\n");
    }
    EXPECT_THAT(place.runAsItIs({"detect", "--no"}).err, Not(HasSubstr("is no command")));
}

TEST(CommandLine, NumbersThatDoNotFitAreRefused) {
    const ToolPlace place;
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"db", "show", "9223372036854775808"},
          {"db", "delete", "9223372036854775808"},
          {"db", "export", "e", "--user", "9223372036854775808"},
          {"enrol", "--user", "9223372036854775808", "--palm", "0", "a.png"}}) {
        const ToolRun run = place.run(arguments);
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_THAT(run.err, HasSubstr("9223372036854775808 is no whole number of 64 bits\n"));
    }
    for (const char* const seconds : {"0", "-1", "inf", "nan", "soon"}) {
        const ToolRun run = place.run({"watch", "--idle", seconds, place.file("")});
        EXPECT_EQ(run.exitStatus, 2) << seconds;
        EXPECT_THAT(run.err,
                    HasSubstr(std::string(seconds) + " is no number of seconds above 0\n"));
    }
}

TEST(CommandLine, AFolderInPlaceOfAFileIsNamed) {
    ToolPlace place;
    const std::string folder = place.file("folder");
    std::filesystem::create_directory(folder);
    const ToolRun config = place.runAsItIs({"--config", folder, "db", "list"});
    EXPECT_EQ(config.exitStatus, 3);
    EXPECT_THAT(config.err, StartsWith("brairu: the configuration " + folder +
                                       " cannot be read: Is a directory\n"));
    place.config["database"]["database_path"] = folder;
    const ToolRun list = place.run({"db", "list"});
    EXPECT_EQ(list.exitStatus, 3);
    EXPECT_EQ(list.err, "brairu: the database " + folder +
                            " is a folder\n"
                            "Name a file in database.database_path of the configuration.\n");
}

TEST(CommandLine, AFrameThatIsNotThereEndsWithStatus2) {
    const ToolPlace place;
    const std::string missing = place.file("missing.png");
    const ToolRun run = place.run({"detect", missing});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "brairu: " + missing + " is not there\nCheck the name.\n");
    EXPECT_THAT(run.out, IsEmpty());
}

TEST(CommandLine, APictureThatCannotBeReadEndsWithStatus2) {
    const ToolPlace place;
    const std::string broken = place.write("broken.png", "no picture");
    const ToolRun run = place.run({"detect", broken});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.err, StartsWith("brairu: " + broken + " is no picture that can be read\n"));
}

TEST(CommandLine, FaultsAreJsonOnRequest) {
    const ToolPlace place;
    const ToolRun run = place.run({"--json", "detect", place.file("missing.png")});
    EXPECT_EQ(run.json()["error"], place.file("missing.png") + " is not there");
    EXPECT_EQ(run.json()["advice"], "Check the name.");
}

TEST(CommandLine, AConfigurationThatCannotBeReadEndsWithStatus3) {
    const ToolPlace place;
    const ToolRun run =
        place.runAsItIs({"--config", place.file("none.json"), "detect", place.greyFrame("a.pgm")});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.err, StartsWith("brairu: the configuration " + place.file("none.json") +
                                    " cannot be read: No such file or directory\n"));
}

TEST(CommandLine, ASettingThatIsAtFaultIsNamedBeforeTheEngineStarts) {
    ToolPlace place;
    place.config["feature"].erase("auth_threshold");
    const ToolRun run = place.run({"detect", place.greyFrame("a.pgm")});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_EQ(run.err,
              "brairu: the configuration is not in order: feature.auth_threshold (similarity above "
              "which blocks 0 and 1 match) is missing\n"
              "Set feature.auth_threshold to a number from 0 to 1.\n");
}

TEST(CommandLine, ANetworkThatTheNpuRefusesEndsWithStatus3AndItsReason) {
    ToolPlace place;
    const std::string blobs = place.ownModel("feature", "model_path_blobs");
    std::filesystem::resize_file(blobs, std::filesystem::file_size(blobs) - 7);
    const ToolRun run = place.run({"detect", place.greyFrame("a.pgm")});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.err, StartsWith("brairu: the NPU stack refused a network: "));
    EXPECT_THAT(run.err, HasSubstr("Run \"brairu doctor\""));
    EXPECT_THAT(run.out, IsEmpty());
}

TEST(CommandLine, AModelFileThatIsMissingEndsWithStatus3) {
    ToolPlace place;
    place.config["handpose"]["model_path_net"] = place.file("none.net");
    const ToolRun run = place.run({"detect", place.greyFrame("a.pgm")});
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.err, StartsWith("brairu: a model file cannot be read\n"));
}

TEST(CommandLine, TemporaryFilesAreGoneAfterwards) {
    const ToolPlace place;
    const std::string temporary = place.file("temporary");
    std::filesystem::create_directory(temporary);
    ::setenv("TMPDIR", temporary.c_str(), 1);
    EXPECT_EQ(place.run({"detect", place.greyFrame("a.pgm")}).exitStatus, 1);
    ::unsetenv("TMPDIR");
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

}  // namespace
}  // namespace brairu::test
