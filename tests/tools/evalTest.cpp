// eval, from pictures to a report.
#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <filesystem>

#include "renderer/palmRenderer.h"
#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// Three palms with three captures each, and a frame without a hand.
class Eval : public testing::Test {
protected:
    Eval() {
        std::filesystem::create_directory(place.file("pictures"));
        for (int person = 1; person <= 3; ++person) {
            for (int capture = 0; capture < 3; ++capture) {
                place.picture(
                    "pictures/p" + std::to_string(person) + "_" + std::to_string(capture) + ".pgm",
                    palmFrame(person, capture));
            }
        }
    }

    std::string folder() const { return place.file("pictures"); }

    ToolPlace place;
};

TEST_F(Eval, MeasuresPicturesAndSaysWhichFramesAreRefused) {
    place.greyFrame("pictures/p3_3.pgm");
    const ToolRun run = place.run({"eval", folder()});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(StartsWith("p3_3.pgm: refused, no hand was found\n"),
                               HasSubstr("10 frames of 3 palms, 9 gave features; failure to "
                                         "acquire 10 %."),
                               HasSubstr("Compared: 9 times a palm with itself, 27 times with "
                                         "another (3 pairs of palms)."),
                               HasSubstr("Recommended thresholds")));
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_THAT(place.storeState(), IsEmpty());
}

TEST_F(Eval, ComparesAsVerificationDoes) {
    const ToolRun run = place.run({"eval", folder(), "--report", place.file("report")});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    const std::string scores = readFile(place.file("report/scores.csv"));
    const ToolRun pair =
        place.run({"verify", "--json", "--scores", folder() + "/p1_0.pgm", folder() + "/p1_1.pgm"});
    std::string line = "\np1_0.pgm,p1_1.pgm,1";
    const Json compared = pair.json()["scores"];
    for (const Json& score : compared) {
        std::array<char, 16> text{};
        (void)std::snprintf(text.data(), text.size(), ",%.4f", score["value"].get<double>());
        line += text.data();
    }
    EXPECT_THAT(scores, HasSubstr(line));
    EXPECT_THAT(run.out, HasSubstr("Report and pictures are in " + place.file("report") + ".\n"));
    EXPECT_TRUE(std::filesystem::exists(place.file("report/report.md")));
}

TEST_F(Eval, IsJsonOnRequest) {
    const ToolRun run =
        place.run({"--json", "eval", folder(), "--enrol", "2", "--far", "0.01", "--gallery", "20"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    const Json json = run.json();
    EXPECT_EQ(json["captures"]["frames"], 9);
    EXPECT_EQ(json["comparisons"]["genuine"], 3);
    EXPECT_EQ(json["comparisons"]["impostors"], 6);
    EXPECT_EQ(json["searches"]["gallery"], 3);
    EXPECT_EQ(json["recommended"]["falseAccept"], 0.01);
    EXPECT_EQ(json["recommended"]["gallery"], 20);
    EXPECT_EQ(json["scores"]["mean"]["eer"], 0.0);
}

TEST_F(Eval, TakesUnguidedPicturesOnRequest) {
    place.config["handpose"]["hand_size_height_min"] = 0.75;
    place.config["handpose"]["hand_size_width_min"] = 0.7;
    const ToolRun strict = place.run({"eval", folder()});
    EXPECT_EQ(strict.exitStatus, 1);
    EXPECT_THAT(strict.out, HasSubstr(": refused, the hand is too small in the picture\n"));
    EXPECT_THAT(strict.err, HasSubstr("brairu: no palm has two captures to compare\n"));
    const ToolRun open = place.run({"--json", "eval", folder(), "--ignore-guidance"});
    EXPECT_EQ(open.exitStatus, 0) << open.err;
    EXPECT_EQ(open.json()["captures"]["acquired"], 9);
}

TEST_F(Eval, TellsOfAFileThatCannotBeReadAndGoesOn) {
    place.write("pictures/p1_9.png", "no picture");
    const ToolRun run = place.run({"eval", folder()});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(HasSubstr("p1_9.png is no picture that can be read\n"),
                               HasSubstr("9 frames of 3 palms, 9 gave features"),
                               HasSubstr("1 file could not be read and is not counted.")));
}

TEST_F(Eval, WritesOutWhatNamesHold) {
    place.picture("pictures/p|4_0.pgm", palmFrame(1, 3));
    place.picture("pictures/p|4_1.pgm", palmFrame(1, 4));
    place.greyFrame("pictures/p5\n\x1b[2J_0.pgm");
    place.picture("pictures/p6\n,_0.pgm", palmFrame(2, 3));
    const ToolRun run = place.run({"eval", folder(), "--report", place.file("report")});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, StartsWith("p5\\n\\x1b[2J_0.pgm: refused, no hand was found\n"));
    EXPECT_THAT(readFile(place.file("report/report.md")), HasSubstr("| p\\|4_"));
    EXPECT_THAT(readFile(place.file("report/scores.csv")), HasSubstr(",\"p6\\n,_0.pgm\","));
}

TEST_F(Eval, TakesAFolderOrRenderedPeople) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"eval"}, {"eval", folder(), "--rendered", "2"}}) {
        const ToolRun run = place.run(arguments);
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(run.err,
                  "brairu: eval takes either a folder of pictures or --rendered\n"
                  "Give the folder that holds the pictures, like: brairu eval pictures/\n");
    }
}

TEST_F(Eval, SaysBeforeItBeginsThatAReportCannotBeWritten) {
    const std::string file = place.write("file", "");
    const ToolRun run = place.run({"eval", folder(), "--report", file});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "brairu: " + file +
                           " cannot be written\n"
                           "Name a folder that you may write to, on a disk with room.\n");
    EXPECT_THAT(run.out, IsEmpty());
}

TEST_F(Eval, IsOneDocumentWhenTheReportFails) {
    std::filesystem::create_directories(place.file("report/report.md"));
    const ToolRun run = place.run({"--json", "eval", folder(), "--report", place.file("report")});
    EXPECT_EQ(run.exitStatus, 2);
    ASSERT_TRUE(Json::accept(run.out)) << run.out;
    EXPECT_EQ(run.json()["error"], place.file("report/report.md") + " cannot be written");
}

TEST_F(Eval, SaysThatAnEnrolmentLeavesNoCapture) {
    const ToolRun run = place.run({"eval", folder(), "--enrol", "3"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.err, StartsWith("brairu: no palm has a good capture left beyond the 3 of its "
                                    "enrolment\n"));
}

TEST_F(Eval, DoesNotRecommendWhatSoFewPalmsCannotTell) {
    const ToolRun run = place.run({"--json", "eval", folder()});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    for (const char* use : {"identification", "verification"}) {
        EXPECT_TRUE(run.json()["recommended"][use]["threshold"].is_null()) << use;
    }
}

TEST_F(Eval, NeedsAsManyCapturesAsTemplates) {
    place.config["database"]["regis_center_count"] = 3;
    const ToolRun run = place.run({"eval", folder(), "--enrol", "2"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err,
              "brairu: an enrolment of 2 captures cannot make 3 templates\n"
              "Give --enrol at least as many as database.regis_center_count.\n");
}

TEST(EvalRendered, MeasuresTheNetworksAgainstTheirGoals) {
    const ToolPlace place;
    const ToolRun run = place.run({"--json", "eval", "--rendered", "2", "--captures", "3",
                                   "--enrol", "2", "--bystanders", "1", "--handless", "12",
                                   "--scenario", "enrolment", "--seed", "5"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    const Json json = run.json();
    EXPECT_EQ(json["captures"]["frames"], 12);
    EXPECT_EQ(json["captures"]["palms"], 4);
    EXPECT_EQ(json["searches"]["gallery"], 6);
    EXPECT_EQ(json["comparisons"]["impostors"], 5 * json["comparisons"]["genuine"].get<int>());
    int others = 0;
    for (int number = 0; number < 12; ++number) {
        others += renderWithoutPalm(5, number, {64, 48}).content == Content::otherHand ? 1 : 0;
    }
    std::vector<std::string> goals;
    for (const Json& goal : json["goals"]) {
        goals.push_back(goal["goal"]);
    }
    const std::string alarmsOn = "false alarms on ";
    EXPECT_THAT(
        goals,
        testing::ElementsAre(
            "equal error rate, mean of the three",
            "own palm accepted at FMR 0.01 %, mean of the three",
            "FNIR at FPIR 0.1 %, gallery of 6 palms", "hands found",
            "key points off, of the hand's length", "key points off, of the long side of their box",
            alarmsOn + "12 frames without an open palm",
            alarmsOn + std::to_string(12 - others) + " frames among them without any hand",
            alarmsOn + std::to_string(others) +
                " frames among them with a fist, a sign, fingers or a back",
            "networks on disk", "one capture, on one core"));
    // So few comparisons, searches and frames tell nothing.
    EXPECT_EQ(json["goals"][1]["met"], Json());
    EXPECT_EQ(json["goals"][2]["met"], Json());
    const Json& alarms = json["goals"][6];
    EXPECT_EQ(alarms["met"], alarms["value"] == 0.0 ? Json() : Json(false));
}

TEST(EvalRendered, TakesOtherCamerasWhenAskedTo) {
    const ToolPlace place;
    const std::vector<std::string> usual{"--json",     "eval",      "--rendered", "2",
                                         "--captures", "2",         "--enrol",    "1",
                                         "--scenario", "enrolment", "--seed",     "5"};
    const ToolRun one = place.run(usual);
    const ToolRun other = place.run(joined(usual, {"--any-camera"}));
    ASSERT_EQ(one.exitStatus, 0) << one.err;
    ASSERT_EQ(other.exitStatus, 0) << other.err;
    EXPECT_NE(one.json()["scores"], other.json()["scores"]);
}

}  // namespace
}  // namespace brairu::test
