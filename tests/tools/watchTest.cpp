// watch: the loop of a door, on folders that fill up and on a camera.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <thread>

#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<Json> eventsOf(const ToolRun& run) {
    std::vector<Json> events;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
        events.push_back(Json::parse(line));
    }
    return events;
}

std::vector<std::string> namesOf(const std::vector<Json>& events) {
    std::vector<std::string> names(events.size());
    std::ranges::transform(events, names.begin(),
                           [](const Json& event) { return event["event"].get<std::string>(); });
    return names;
}

class Watch : public testing::Test {
protected:
    Watch() {
        place.haveEnrolled();
        std::filesystem::create_directory(folder());
    }

    std::string folder() const { return place.file("camera"); }
    void film(const std::string& name, const cv::Mat& luma) const {
        place.picture("camera/" + name, luma);
    }

    ToolPlace place;
    const cv::Mat nothing{240, 320, CV_8UC1, cv::Scalar(90)};
};

TEST_F(Watch, TellsEachChangeOnce) {
    film("1.pgm", nothing);
    film("2.pgm", nothing);
    film("3.pgm", palmFrame(1, 5));
    film("4.pgm", palmFrame(1, 6));
    film("5.pgm", nothing);
    film("6.pgm", palmFrame(2, 5));
    film("7.pgm", palmFrame(2, 7));
    const ToolRun run = place.run({"watch", "--json", "--idle", "0.1", folder()});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<Json> events = eventsOf(run);
    EXPECT_THAT(namesOf(events), ElementsAre("no_hand", "recognised", "no_hand", "not_recognised"));
    EXPECT_EQ(events[1]["user"], 1);
    EXPECT_EQ(events[1]["frame"], folder() + "/3.pgm");
    EXPECT_THAT(run.err, IsEmpty());
}

TEST_F(Watch, GuidesTheHand) {
    place.config["handpose"]["horizontal_offset_tolerance"] = 0.485;
    film("1.pgm", palmFrame(1, 5));
    const ToolRun run = place.run({"watch", "--idle", "0.1", folder()});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.out, HasSubstr("Move the hand to the right in the picture. (too close to the "
                                   "left edge of the picture: left margin "));
}

TEST_F(Watch, TakesFramesAsTheyComeAndEndsAtTheFirstRecognised) {
    std::thread camera([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        film("1.pgm", nothing);
        film("2.pgm", palmFrame(1, 5));
    });
    const ToolRun run = place.run({"watch", "--json", "--once", "--idle", "20", folder()});
    camera.join();
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_THAT(namesOf(eventsOf(run)), ElementsAre("no_hand", "recognised"));
}

TEST_F(Watch, PassesOverAFrameThatCannotBeReadAndChangesNothingInTheStore) {
    const std::vector<std::string> before = place.storeState();
    place.write("camera/1.png", "no picture");
    film("2.pgm", palmFrame(1, 5));
    const ToolRun run = place.run({"watch", "--json", "--idle", "0.1", folder()});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_THAT(namesOf(eventsOf(run)), ElementsAre("unreadable", "recognised"));
    EXPECT_EQ(place.storeState(), before);
}

// What was filmed, before the door.
class WatchCamera : public Watch {
protected:
    void SetUp() override {
        if (!BRAIRU_READS_CAMERAS) {
            GTEST_SKIP() << "built without libv4l2";
        }
    }

    ToolRun watch(const std::vector<std::string>& arguments) const {
        return place.runBeside(camera,
                               joined({"watch", "--size", "320x240", "/dev/double"}, arguments));
    }

    void expectFault(const std::string& message) const {
        const ToolRun run = watch({});
        EXPECT_EQ(run.exitStatus, 2);
        EXPECT_EQ(run.err, message);
    }

    CameraDouble camera{folder()};
};

TEST_F(WatchCamera, RecognisesAnEnrolledPalmUntilTheCameraIsUnplugged) {
    film("1.pgm", nothing);
    film("2.pgm", palmFrame(1, 5));
    film("3.pgm", nothing);
    film("4.pgm", palmFrame(2, 5));
    for (const char* const each : {"YUYV", "GREY"}) {
        SCOPED_TRACE(camera.format = each);
        const ToolRun run = watch({"--json"});
        EXPECT_EQ(run.exitStatus, 2);
        std::vector<Json> events = eventsOf(run);
        ASSERT_EQ(events.size(), 5U) << run.out << run.err;
        EXPECT_EQ(events.back()["error"], "the camera /dev/double was unplugged");
        events.pop_back();
        EXPECT_THAT(namesOf(events),
                    ElementsAre("no_hand", "recognised", "no_hand", "not_recognised"));
        EXPECT_EQ(events[1]["user"], 1);
        EXPECT_EQ(events[1]["frame"], "/dev/double #2");
        EXPECT_EQ(run.err,
                  "brairu: the camera /dev/double was unplugged\n"
                  "Plug it in, and run the command again.\n");
    }
}

TEST_F(WatchCamera, EndsAtTheFirstRecognised) {
    film("1.pgm", palmFrame(1, 5));
    const ToolRun run = watch({"--once"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, testing::StartsWith("recognised: user 1, palm 0, similarity 0."));
}

TEST_F(WatchCamera, LooksAtTheNewestFrame) {
    camera.burst = "2";
    film("1.pgm", palmFrame(2, 5));
    film("2.pgm", palmFrame(1, 5));
    const ToolRun run = watch({"--once", "--json"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<Json> events = eventsOf(run);
    ASSERT_THAT(namesOf(events), ElementsAre("recognised"));
    EXPECT_EQ(events[0]["frame"], "/dev/double #2");
}

TEST_F(WatchCamera, SaysThatItMayNotBeOpened) {
    camera.fault = "forbidden";
    expectFault(
        "brairu: /dev/double may not be opened: Permission denied\n"
        "Join the group that has the device, mostly video (sudo adduser USER video), and log in "
        "again.\n");
}

TEST_F(WatchCamera, SaysThatAnotherProgramHasIt) {
    camera.fault = "busy";
    expectFault(
        "brairu: another program is using the camera /dev/double\n"
        "Close it, and run the command again.\n");
}

TEST_F(WatchCamera, SaysThatADeviceFileGivesNoPictures) {
    camera.fault = "without pictures";
    expectFault(
        "brairu: /dev/double gives no pictures\n"
        "A camera may have several device files, one of them for pictures: \"ls /dev/video*\" "
        "lists them.\n");
}

TEST_F(WatchCamera, SaysThatNoFrameComes) {
    camera.fault = "silent";
    expectFault(
        "brairu: the camera /dev/double gave no frame for 5 seconds\n"
        "Look at its cable and its power, and plug it in anew.\n");
}

TEST_F(WatchCamera, SaysThatThereIsNone) {
    const ToolRun run = place.run({"watch", "99"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err,
              "brairu: /dev/video99 is not there\n"
              "Look whether the camera is plugged in: \"ls /dev/video*\" lists what is.\n");
    const ToolRun other = place.run({"watch", "/dev/null"});
    EXPECT_EQ(other.exitStatus, 2);
    EXPECT_THAT(other.err, testing::StartsWith("brairu: /dev/null is no camera\n"));
}

TEST(WatchNothing, SaysThatThisBuildReadsNoCameras) {
    if (BRAIRU_READS_CAMERAS) {
        GTEST_SKIP() << "this build reads cameras";
    }
    const ToolRun run = ToolPlace().run({"watch", "/dev/video0"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.err, testing::StartsWith(
                             "brairu: /dev/video0 cannot be read: this build reads no cameras\n"));
}

TEST(WatchNothing, TakesNoSingleFrame) {
    const ToolPlace place;
    const std::string frame = place.greyFrame("grey.pgm");
    const ToolRun run = place.run({"watch", frame});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.err, testing::StartsWith("brairu: " + frame + " is a single frame\n"));
}

TEST(WatchNothing, SaysThatAFolderIsNotThere) {
    const ToolPlace place;
    const ToolRun run = place.run({"watch", place.file("frames")});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "brairu: " + place.file("frames") + " is not there\nCheck the name.\n");
}

TEST_F(Watch, GoesThroughAVideo) {
    const std::string video = place.video(
        "hand.mkv", joined({place.picture("nothing.pgm", nothing)}, place.frames(1, 5, 2)));
    const ToolRun run = place.run({"watch", "--json", video});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<Json> events = eventsOf(run);
    EXPECT_THAT(namesOf(events), ElementsAre("no_hand", "recognised"));
    EXPECT_EQ(events[1]["frame"], video + " #2");
}

TEST(WatchNothing, SaysThatAVideoCannotBeRead) {
    const ToolPlace place;
    place.haveEnrolled();
    const std::string video = place.write("hand.mp4", "no video");
    const ToolRun run = place.run({"watch", video});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err,
              "brairu: " + video +
                  " cannot be read as a video: moov atom not found\nGive a whole video, or "
                  "the frames as a folder of pictures.\n");
}

TEST(WatchNothing, SaysThatAVideoIsNotThere) {
    const ToolPlace place;
    const ToolRun run = place.run({"watch", place.file("none.mp4")});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "brairu: " + place.file("none.mp4") + " is not there\nCheck the name.\n");
}

}  // namespace
}  // namespace brairu::test
