// watch: the loop of a door, on folders that fill up.
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
    film("7.pgm", palmFrame(2, 6));
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

TEST(WatchNothing, SaysThatAVideoCannotBeOpened) {
    const ToolPlace place;
    const ToolRun run = place.run({"watch", place.file("none.mp4")});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.err, HasSubstr("brairu: " + place.file("none.mp4")));
}

}  // namespace
}  // namespace brairu::test
