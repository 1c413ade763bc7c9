// models, palms and bench.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST(Models, PackAndUnpackGiveTheModelBack) {
    const ToolPlace place;
    const std::string model = place.write("model", std::string(3000, 'm'));
    const ToolRun packed = place.run({"models", "pack", model, place.file("container")});
    EXPECT_EQ(packed.exitStatus, 0) << packed.err;
    EXPECT_EQ(packed.out, model + " packed into " + place.file("container") + ", 3,008 bytes\n");
    const ToolRun unpacked =
        place.run({"--json", "models", "unpack", place.file("container"), place.file("again")});
    EXPECT_EQ(unpacked.exitStatus, 0) << unpacked.err;
    EXPECT_EQ(unpacked.json()["bytes"], 3000);
    EXPECT_EQ(readFile(place.file("again")), std::string(3000, 'm'));
}

TEST(Models, InfoHasOneChecksumForEveryPackingOfAModel) {
    const ToolPlace place;
    const std::string model = place.write("model", "a model");
    place.run({"models", "pack", model, place.file("one")});
    place.run({"models", "pack", model, place.file("other")});
    EXPECT_NE(readFile(place.file("one")), readFile(place.file("other")));
    const ToolRun run =
        place.run({"--json", "models", "info", place.file("one"), place.file("other")});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    const Json containers = run.json()["containers"];
    EXPECT_EQ(containers[0]["bytes"], 7);
    EXPECT_EQ(containers[0]["blake2b"],
              "41c8f73877b0db4fefb0ce2615da80f613d6e389f36e45582a8f181890666df4");
    EXPECT_EQ(containers[0]["blake2b"], containers[1]["blake2b"]);
}

TEST(Models, InfoListsTheContainersOfTheConfiguration) {
    const ToolPlace place;
    const ToolRun run = place.run({"models", "info"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out,
                AllOf(ContainsRegex("models/handpose.net +[0-9,]+ +[0-9a-f]{16} +hand "
                                    "pose, description\n"),
                      ContainsRegex("models/feature.blobs +[0-9,]+ +[0-9a-f]{16} +feature, "
                                    "weights\n")));
}

TEST(Models, WhatIsNoContainerEndsWithStatus2) {
    const ToolPlace place;
    const std::string file = place.write("short", "1234567");
    const ToolRun info = place.run({"models", "info", file});
    EXPECT_EQ(info.exitStatus, 2);
    EXPECT_EQ(info.err, "brairu: " + file +
                            " is no model container\n"
                            "A container is made with \"brairu models pack\".\n");
    const ToolRun unpack = place.run({"models", "unpack", file, place.file("model")});
    EXPECT_EQ(unpack.exitStatus, 2);
    EXPECT_THAT(unpack.err, HasSubstr("brairu: " + file + " is no model container\n"));
    EXPECT_FALSE(std::filesystem::exists(place.file("model")));
}

TEST(Models, WhatIsNotThereOrCannotBeWrittenEndsWithStatus2) {
    const ToolPlace place;
    const ToolRun missing = place.run({"models", "pack", place.file("none"), place.file("out")});
    EXPECT_EQ(missing.exitStatus, 2);
    EXPECT_EQ(missing.err, "brairu: " + place.file("none") + " is not there\nCheck the name.\n");
    const std::string model = place.write("model", "model");
    const ToolRun nowhere = place.run({"models", "pack", model, place.file("no/folder")});
    EXPECT_EQ(nowhere.exitStatus, 2);
    EXPECT_THAT(nowhere.err, HasSubstr("brairu: cannot write " + place.file("no/folder") + "\n"));
    const ToolRun folder = place.run({"models", "info", place.file("")});
    EXPECT_EQ(folder.exitStatus, 2);
    EXPECT_THAT(folder.err, HasSubstr(" cannot be read\n"));
}

TEST(Models, PackAndUnpackReplaceAFileOnlyWhenTold) {
    const ToolPlace place;
    const std::string model = place.write("model", "a model");
    ASSERT_EQ(place.run({"models", "pack", model, place.file("container")}).exitStatus, 0);
    const std::string mine = place.write("mine", "mine");
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"models", "pack", model, mine},
          {"models", "unpack", place.file("container"), mine}}) {
        const ToolRun refused = place.run(command);
        EXPECT_EQ(refused.exitStatus, 2);
        EXPECT_EQ(refused.err, "brairu: " + mine +
                                   " is there already\n"
                                   "Name a new file, or give --force to replace it.\n");
        EXPECT_EQ(readFile(mine), "mine");
        EXPECT_EQ(place.run(joined(command, {"--force"})).exitStatus, 0);
        EXPECT_NE(readFile(mine), "mine");
        place.write("mine", "mine");
    }
}

TEST(Palms, RenderReplacesFilesOnlyWhenTold) {
    const ToolPlace place;
    const std::vector<std::string> command{"palms",      "render", place.file(""), "--people", "1",
                                           "--captures", "1",      "--empty",      "1"};
    for (const std::string name : {"index.csv", "0L_0.png", "0R_0.png", "empty_0.png"}) {
        const std::string mine = place.write(name, "mine");
        const ToolRun run = place.run(command);
        EXPECT_EQ(run.exitStatus, 2) << name;
        EXPECT_EQ(run.err, "brairu: " + mine +
                               " is there already\n"
                               "Name a new folder, or give --force to replace what is there.\n");
        EXPECT_EQ(readFile(mine), "mine");
        std::filesystem::remove(mine);
    }
    const std::string mine = place.write("0L_0.png", "mine");
    EXPECT_EQ(place.run(joined(command, {"--force"})).exitStatus, 0);
    EXPECT_NE(readFile(mine), "mine");
}

TEST(Palms, RenderDrawsFramesThatEvalTakes) {
    const ToolPlace place;
    const std::string folder = place.file("frames");
    const ToolRun run = place.run({"palms", "render", folder, "--people", "1", "--captures", "2",
                                   "--empty", "1", "--size", "320x240"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "5 frames and index.csv are in " + folder + "\n");
    for (const char* name : {"0L_0.png", "0L_1.png", "0R_0.png", "0R_1.png", "empty_0.png"}) {
        EXPECT_TRUE(std::filesystem::exists(folder + "/" + name)) << name;
    }
    const ToolRun measured = place.run({"--json", "eval", folder, "--ignore-guidance"});
    EXPECT_EQ(measured.json()["captures"]["frames"], 5) << measured.err;
    EXPECT_EQ(measured.json()["captures"]["refusals"]["no_hand"], 1);
    EXPECT_EQ(measured.json()["comparisons"]["genuine"], 2);
}

TEST(Palms, RenderSaysWhereItCannotWrite) {
    const ToolPlace place;
    const std::string file = place.write("file", "");
    const ToolRun run = place.run({"palms", "render", file, "--people", "1"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("brairu: cannot write " + file),
                               HasSubstr("Name a folder that you may write to")));
    EXPECT_EQ(place.run({"palms", "render", place.file("a"), "--size", "big"}).exitStatus, 2);
    EXPECT_EQ(place.run({"palms", "render", place.file("a"), "--format", "jpg"}).exitStatus, 2);
}

TEST(Palms, RenderRefusesFramesTooSmallToDrawIn) {
    const ToolPlace place;
    for (const std::string size : {"1x1", "15x480", "640x15"}) {
        const ToolRun run =
            place.run({"palms", "render", place.file("a"), "--people", "1", "--size", size});
        EXPECT_EQ(run.exitStatus, 2) << size;
        EXPECT_EQ(run.err, "brairu: frames of " + size +
                               " are too small to draw a palm in\n"
                               "Give at least 16x16, like 640x480.\n");
        EXPECT_FALSE(std::filesystem::exists(place.file("a"))) << size;
    }
}

TEST(Palms, RenderDrawsTheSmallestFrames) {
    const ToolPlace place;
    const ToolRun run = place.run({"palms", "render", place.file("a"), "--people", "4",
                                   "--captures", "2", "--empty", "20", "--size", "16x16"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, StartsWith("36 frames "));
}

TEST(Bench, SaysWhenTheStoreDoesNotTakeThePalmsToSearch) {
    const ToolPlace place;
    const auto usualAction = std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    const rlimit small{100'000, usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const ToolRun run = place.run({"bench", "--runs", "1", "--gallery", "60"});
    ::setrlimit(RLIMIT_FSIZE, &usual);
    (void)std::signal(SIGXFSZ, usualAction);
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.err, AllOf(HasSubstr("brairu: the store took "),
                               HasSubstr(" of 60 palms\n"
                                         "Make room in the folder for temporary files, or name "
                                         "another in the environment variable TMPDIR.\n")));
    EXPECT_THAT(run.out, Not(HasSubstr("search")));
}

TEST(Bench, TimesTheCallsOfADoor) {
    const ToolPlace place;
    const ToolRun run =
        place.run({"--json", "bench", "--runs", "2", "--gallery", "20", "--gallery", "10"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    std::vector<std::string> calls;
    const Json timed = run.json()["calls"];
    for (const Json& call : timed) {
        calls.push_back(call["call"]);
        EXPECT_GT(call["medianMs"], 0.0);
        EXPECT_GE(call["slowestMs"], call["medianMs"]);
    }
    EXPECT_THAT(calls,
                testing::ElementsAre(
                    "start (init_pva), empty store", "find the hand (pvaGetHandPose)",
                    "features (pvaGetFeat)", "both: one capture", "verify (pvaGet1to1AuthRes)",
                    "search 10 palms (pvaGetAuthRes)", "search 20 palms (pvaGetAuthRes)"));
    EXPECT_THAT(place.storeState(), IsEmpty());
}

TEST(Bench, NeedsAGoodFrame) {
    const ToolPlace place;
    const std::string grey = place.greyFrame("grey.pgm");
    const ToolRun run = place.run({"bench", grey});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.err, "brairu: " + grey +
                           " is refused\n"
                           "Ask \"brairu detect\" why, and give a good one.\n");
}

}  // namespace
}  // namespace brairu::test
