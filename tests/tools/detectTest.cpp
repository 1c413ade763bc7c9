// detect: what the engine sees in frames.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "tools/workplace.h"

namespace brairu::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// Measures of a frame by their names.
Json measureNamed(const Json& frame, const std::string& name) {
    for (const Json& measure : frame["measures"]) {
        if (measure["name"] == name) {
            return measure;
        }
    }
    return nullptr;
}

TEST(Detect, ShowsAGoodFrameWithEveryValueBesideItsLimit) {
    const ToolPlace place;
    const std::string frame = place.frames(1, 0, 1)[0];
    const ToolRun run = place.run({"detect", frame});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_THAT(run.out, StartsWith("frame 1 (" + frame + "), 320 x 240: good\n"));
    EXPECT_THAT(run.out, AllOf(HasSubstr("hand score "), HasSubstr("left margin "),
                               HasSubstr(" % of the width, needs more than 12 %"),
                               HasSubstr("brightness of the inner palm "),
                               HasSubstr("unevenness of the palm "),
                               HasSubstr("sharpness of the palm "), HasSubstr("key points "),
                               HasSubstr("a left palm (the other one if the camera mirrors)")));
    EXPECT_THAT(run.err, IsEmpty());
}

TEST(Detect, PrintsOneJsonDocument) {
    const ToolPlace place;
    const Json result = place.run({"--json", "detect", place.frames(1, 0, 1)[0]}).json();
    EXPECT_EQ(result["good"], 1);
    const Json& frame = result["frames"][0];
    EXPECT_EQ(frame["result"], "good");
    EXPECT_EQ(frame["code"], 0);
    EXPECT_EQ(frame["hand"]["palm"], "left");
    EXPECT_EQ(frame["hand"]["keyPoints"].size(), 7U);
    EXPECT_EQ(measureNamed(frame, "left margin")["moreThan"], 12.0);
    EXPECT_TRUE(measureNamed(frame, "sharpness of the palm")["passes"]);
}

TEST(Detect, SaysThatThereIsNoHandAndHowSureItIsAndWritesNoUserFile) {
    const ToolPlace place;
    const ToolRun run = place.run({"detect", place.greyFrame("grey.pgm")});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.out, HasSubstr("refused, no hand was found: hand score "));
    EXPECT_THAT(run.out, HasSubstr("%, needs at least 60 %. Hold the open hand up"));
    EXPECT_THAT(place.storeState(), IsEmpty());
    EXPECT_EQ(readFile(place.configPath()), place.config.dump(4));
}

TEST(Detect, NamesTheEdgeTheMarginAndTheWayOut) {
    ToolPlace place;
    place.config["handpose"]["horizontal_offset_tolerance"] = 0.485;
    const ToolRun run = place.run({"detect", "--json", place.frames(1, 0, 1)[0]});
    EXPECT_EQ(run.exitStatus, 1);
    const Json frame = run.json()["frames"][0];
    EXPECT_EQ(frame["result"], "left_edge");
    EXPECT_EQ(frame["code"], 1);
    EXPECT_EQ(frame["advice"], "Move the hand to the right in the picture.");
    EXPECT_EQ(frame["reasons"][0]["name"], "left margin");
    EXPECT_EQ(frame["reasons"][0]["moreThan"], 48.0);
    EXPECT_EQ(measureNamed(frame, "sharpness of the palm"), nullptr);
}

class SharedCodes : public testing::Test {
protected:
    Json only() const { return place.run({"detect", "--json", frame}).json()["frames"][0]; }
    void limitSizes(double least, double most) {
        for (const char* side : {"hand_size_width_", "hand_size_height_"}) {
            place.config["handpose"][std::string(side) + "min"] = least;
            place.config["handpose"][std::string(side) + "max"] = most;
        }
    }
    void expectResult(const char* id, int code) const {
        const Json result = only();
        EXPECT_EQ(result["result"], id);
        EXPECT_EQ(result["code"], code);
        EXPECT_FALSE(result["reasons"].empty());
    }

    ToolPlace place;
    const std::string frame = place.frames(1, 0, 1)[0];
};

TEST_F(SharedCodes, FourteenIsUnevenLight) {
    place.config["handpose"]["brightness_range_threshold"] = 0;
    expectResult("uneven_light", 14);
}

TEST_F(SharedCodes, FourteenIsTooLarge) {
    limitSizes(0.005, 0.015);
    expectResult("too_large", 14);
}

TEST_F(SharedCodes, FifteenIsBlurred) {
    place.config["handpose"]["blur_threshold"] = 1e6;
    const ToolRun run = place.run({"detect", frame});
    EXPECT_THAT(run.out, HasSubstr("refused, the palm is blurred: sharpness of the palm "));
    EXPECT_THAT(run.out, HasSubstr(", needs at least 1e+06. Hold the hand still"));
}

TEST_F(SharedCodes, FifteenIsTooSmall) {
    limitSizes(0.985, 0.995);
    expectResult("too_small", 15);
}

TEST(Detect, TakesRawPlanesWithTheirSize) {
    const ToolPlace place;
    const cv::Mat luma = palmFrame(1, 0);
    const std::string raw =
        place.write("frame.raw", {reinterpret_cast<const char*>(luma.data), luma.total()});
    EXPECT_EQ(place.run({"detect", "--size", "320x240", raw}).exitStatus, 0);
    const ToolRun without = place.run({"detect", raw});
    EXPECT_EQ(without.exitStatus, 2);
    EXPECT_EQ(without.err, "brairu: " + raw + " is a raw plane, and its size is not known\n" +
                               "Give it with --size, like --size 640x480.\n");
}

// The colours of a picture of the plain kind: a header of three lines, then red, green, blue.
std::set<std::string> coloursOf(const std::string& path) {
    const std::string content = readFile(path);
    std::set<std::string> colours;
    for (std::size_t at = content.find("255\n") + 4; at + 3 <= content.size(); at += 3) {
        colours.insert(content.substr(at, 3));
    }
    return colours;
}

bool isColoured(const std::string& colour) {
    return colour[0] != colour[1] || colour[1] != colour[2];
}

TEST(Detect, DrawsWhatItSeesToOnePictureAFrame) {
    const ToolPlace place;
    place.run({"detect", place.frames(1, 0, 1)[0], place.greyFrame("grey.pgm"), "--draw",
               place.file("out.ppm")});
    EXPECT_FALSE(std::filesystem::exists(place.file("out.ppm")));
    EXPECT_TRUE(std::ranges::any_of(coloursOf(place.file("out-1.ppm")), isColoured));
    EXPECT_FALSE(std::ranges::any_of(coloursOf(place.file("out-2.ppm")), isColoured));
}

TEST(Detect, DoesNotDrawOnTheFrameItself) {
    const ToolPlace place;
    const std::string frame = place.greyFrame("grey.pgm");
    const std::string before = readFile(frame);
    const ToolRun run = place.run({"detect", frame, "--draw", frame});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "brairu: the picture " + frame +
                           " is the frame itself\nName another file with --draw.\n");
    EXPECT_EQ(readFile(frame), before);
}

TEST(Detect, DrawsOnNoneOfTheFramesAndLooksAtNoneThen) {
    const ToolPlace place;
    const std::vector<std::string> frames{place.greyFrame("hand-2.pgm"),
                                          place.greyFrame("hand-5.pgm")};
    const std::string before = readFile(frames[0]);
    const ToolRun run = place.run(joined({"detect", "--draw", place.file("hand.pgm")}, frames));
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "brairu: the picture " + frames[0] +
                           " is one of the frames\nName another file with --draw.\n");
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_EQ(readFile(frames[0]), before);
    EXPECT_FALSE(std::filesystem::exists(place.file("hand-1.pgm")));
}

TEST(Detect, DrawsOnNoFrameOfAFolderByAnotherName) {
    const ToolPlace place;
    std::filesystem::create_directory(place.file("frames"));
    place.greyFrame("frames/a.pgm");
    place.greyFrame("frames/b.pgm");
    std::filesystem::create_symlink("frames/b.pgm", place.file("out-1.pgm"));
    const std::string before = readFile(place.file("frames/b.pgm"));
    const ToolRun run =
        place.run({"detect", place.file("frames"), "--draw", place.file("out.pgm")});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_THAT(run.err, StartsWith("brairu: the picture " + place.file("out-1.pgm") +
                                    " is one of the frames\n"));
    EXPECT_EQ(readFile(place.file("frames/b.pgm")), before);
}

TEST(Detect, SaysWhichCommandsTakeADevice) {
    const ToolPlace place;
    for (const std::vector<std::string>& command : {std::vector<std::string>{"detect", "/dev/null"},
                                                    {"identify", "/dev/null"},
                                                    {"verify", "/dev/null", "/dev/null"}}) {
        if (command[0] == "identify") {
            place.haveEnrolled();
        }
        const ToolRun run = place.run(command);
        EXPECT_EQ(run.exitStatus, 2) << command[0];
        EXPECT_EQ(run.err,
                  "brairu: /dev/null is a device, which only \"brairu watch\" and \"brairu enrol\" "
                  "take, as a camera\nGive pictures, or raw planes of grey with --size.\n");
    }
}

TEST(Detect, TakesTheFramesOfAVideo) {
    const ToolPlace place;
    const std::string video = place.video("hand.mkv", place.frames(1, 0, 3));
    const ToolRun run = place.run({"detect", "--json", video});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    const Json frames = run.json()["frames"];
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[2]["frame"], video + " #3");
    EXPECT_EQ(frames[2]["result"], "good");
}

TEST(Detect, ShowsTheEnginesLinesOnStandardErrorOnRequest) {
    const ToolPlace place;
    const ToolRun run = place.run({"detect", "--json", "--verbose", place.frames(1, 0, 1)[0]});
    EXPECT_THAT(run.err, HasSubstr("start load model"));
    EXPECT_EQ(run.json()["good"], 1);
}

}  // namespace
}  // namespace brairu::test
