// enrol: the one command that writes to the store.
#include <gmock/gmock.h>

#include <filesystem>

#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Enrol, CountsCapturesSaysWhoIsEnrolledAndLeavesTheConfigurationAsItIs) {
    const ToolPlace place;
    const ToolRun run = place.enrol(1);
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("): capture 1 of 3\n"));
    EXPECT_THAT(run.out, EndsWith("): capture 3 of 3\nuser 1, palm 0 is enrolled\n"));
    EXPECT_TRUE(std::filesystem::exists(place.databasePath()));
    EXPECT_EQ(readFile(place.configPath()), place.config.dump(4));
}

TEST(Enrol, TakesAFolderInTheOrderOfItsNamesAndStopsAtTheLastCaptureItNeeds) {
    const ToolPlace place;
    std::filesystem::create_directory(place.file("folder"));
    place.write("folder/notes.txt", "no frame");
    for (const int capture : {2, 3, 0, 1}) {
        place.picture("folder/" + std::to_string(capture) + ".pgm", palmFrame(1, capture));
    }
    const ToolRun run =
        place.run({"enrol", "--json", "--user", "1", "--palm", "0", place.file("folder")});
    ASSERT_EQ(run.exitStatus, 0) << run.out;
    EXPECT_EQ(run.json()["result"], "enrolled");
    EXPECT_EQ(run.json()["captures"], 3);
    const Json frames = run.json()["frames"];
    ASSERT_EQ(frames.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(frames[i]["frame"], place.file("folder/" + std::to_string(i) + ".pgm"));
    }
}

TEST(Enrol, TakesAVideo) {
    const ToolPlace place;
    const std::string video = place.video("hand.mkv", place.frames(1, 0, 4));
    const ToolRun run = place.run({"enrol", "--json", "--user", "1", "--palm", "0", video});
    ASSERT_EQ(run.exitStatus, 0) << run.out << run.err;
    EXPECT_EQ(run.json()["result"], "enrolled");
    EXPECT_EQ(run.json()["frames"].size(), 3U);
    EXPECT_EQ(place.run({"identify", place.frames(1, 5, 1)[0]}).exitStatus, 0);
}

TEST(Enrol, SaysHowManyFramesAreMissing) {
    const ToolPlace place;
    const ToolRun run = place.run({"enrol", "--user", "1", "--palm", "0", place.frames(1, 0, 1)[0],
                                   place.greyFrame("grey.pgm")});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.out, HasSubstr("refused, no hand was found"));
    EXPECT_THAT(run.out,
                EndsWith("user 1, palm 0 is not enrolled: 1 of 3 captures were taken. Give "
                         "all frames again with at least 2 more good ones, in which the "
                         "hand has moved a little.\n"));
    EXPECT_EQ(place.run({"identify", place.frames(1, 5, 1)[0]}).exitStatus, 1);
}

TEST(Enrol, SaysHowMuchTooAlikeACaptureIs) {
    ToolPlace place;
    place.config["handpose"]["dynamic_detection_level"] = 1;
    const std::string frame = place.frames(1, 0, 1)[0];
    const ToolRun run = place.run({"enrol", "--user", "1", "--palm", "0", frame, frame});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.out, HasSubstr("refused, too much like an earlier capture of this enrolment: "
                                   "similarity 1.000, needs at most 0.9. Move the hand a little"));
}

TEST(Enrol, RefusesANumberThatIsInUse) {
    const ToolPlace place;
    place.haveEnrolled();
    const ToolRun run =
        place.run(joined({"enrol", "--json", "--user", "1", "--palm", "0"}, place.frames(2, 0, 3)));
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.json()["result"], "already_enrolled");
}

TEST(Enrol, NamesTheOwnerOfAPalmThatIsEnrolledAlready) {
    const ToolPlace place;
    place.haveEnrolled();
    const std::vector<std::string> again =
        joined({"enrol", "--user", "9", "--palm", "1"}, place.frames(1, 0, 3));
    const ToolRun run = place.run(again);
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.out, HasSubstr("user 9, palm 1 is not enrolled: this palm is enrolled already, "
                                   "as user 1, palm 0. Delete that palm first"));
    EXPECT_EQ(place.run(joined(again, {"--allow-duplicate"})).exitStatus, 0);
}

// Before a camera, which films a hand.
class EnrolCamera : public testing::Test {
protected:
    EnrolCamera() { std::filesystem::create_directory(camera.pictures); }

    void SetUp() override {
        if (!BRAIRU_READS_CAMERAS) {
            GTEST_SKIP() << "built without libv4l2";
        }
    }

    void film(const std::string& name, const cv::Mat& luma) const {
        place.picture("camera/" + name, luma);
    }

    ToolRun enrol(const std::vector<std::string>& options) const {
        return place.runBeside(camera, joined({"enrol", "--user", "1", "--palm", "0", "--size",
                                               "320x240", "/dev/double"},
                                              options));
    }

    ToolPlace place;
    CameraDouble camera{place.file("camera")};
    const cv::Mat nothing{240, 320, CV_8UC1, cv::Scalar(90)};
};

TEST_F(EnrolCamera, TellsOnceWhatIsWrongAndEndsAtTheLastCaptureItNeeds) {
    film("1.pgm", nothing);
    film("2.pgm", nothing);
    film("3.pgm", palmFrame(1, 0));
    film("4.pgm", nothing);
    film("5.pgm", palmFrame(1, 1));
    film("6.pgm", palmFrame(1, 2));
    film("7.pgm", nothing);
    const ToolRun run = enrol({"--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.out << run.err;
    const Json result = run.json();
    EXPECT_EQ(result["result"], "enrolled");
    std::vector<std::string> told;
    for (const Json& frame : result["frames"]) {
        told.push_back(frame["frame"].get<std::string>() + " " +
                       frame["result"].get<std::string>());
    }
    EXPECT_THAT(told, testing::ElementsAre("/dev/double #1 no_hand", "/dev/double #3 taken",
                                           "/dev/double #4 no_hand", "/dev/double #5 taken",
                                           "/dev/double #6 taken"));
    EXPECT_EQ(place.run({"identify", place.frames(1, 5, 1)[0]}).exitStatus, 0);
}

TEST_F(EnrolCamera, GivesUpWhenNoFurtherCaptureCame) {
    camera.fault = "silent";
    film("1.pgm", nothing);
    const ToolRun run = enrol({"--idle", "0.3"});
    EXPECT_EQ(run.exitStatus, 1) << run.err;
    EXPECT_EQ(run.out,
              "user 1, palm 0 is not enrolled: 0 of 3 captures were taken. Run the command again. "
              "Move the hand a little between captures: closer, further, or turned slightly.\n");
}

TEST_F(EnrolCamera, SaysThatItWasUnpluggedAndEnrolsNobody) {
    film("1.pgm", palmFrame(1, 0));
    const ToolRun run = enrol({});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.out, EndsWith("): capture 1 of 3\n"));
    EXPECT_EQ(run.err,
              "brairu: the camera /dev/double was unplugged\n"
              "Plug it in, and run the command again.\n");
    EXPECT_EQ(place.run({"identify", place.frames(1, 5, 1)[0]}).exitStatus, 1);
}

TEST_F(EnrolCamera, StandsAlone) {
    const ToolRun run = enrol({place.greyFrame("grey.pgm")});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err,
              "brairu: the camera /dev/double is named beside other frames\n"
              "Give the camera alone, or frames alone.\n");
}

TEST_F(EnrolCamera, IsLookedForBeforeTheStoreIsMade) {
    const ToolRun run = place.run({"enrol", "--user", "1", "--palm", "0", "99"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.err, testing::StartsWith("brairu: /dev/video99 is not there\n"));
    EXPECT_FALSE(std::filesystem::exists(place.databasePath()));
}

TEST(Enrol, SaysThatTheFolderOfTheStoreIsMissing) {
    ToolPlace place;
    place.config["database"]["database_path"] = place.file("missing/palms.db");
    const ToolRun run = place.enrol(1);
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_THAT(run.err,
                HasSubstr("the folder of the store, " + place.file("missing") + ", is not there"));
    EXPECT_THAT(run.out, IsEmpty());
}

}  // namespace
}  // namespace brairu::test
