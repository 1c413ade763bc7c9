// Where frames come from.
#include <gmock/gmock.h>

#include <filesystem>

#include "fault.h"
#include "frames/frameFile.h"
#include "frames/frameOptions.h"
#include "frames/growingFolder.h"
#include "support/pgm.h"
#include "support/temporaryFolder.h"

namespace brairu::tool {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class Frames : public testing::Test {
protected:
    std::string pgm(const std::string& name, std::uint8_t grey) const {
        return folder.write(name, test::pgm(4, 2, std::string(8, static_cast<char>(grey))));
    }
    std::vector<std::string> namesIn(FrameSource& source) const {
        std::vector<std::string> names;
        while (const std::optional<Frame> frame = source.next()) {
            names.push_back(std::filesystem::path(frame->name).filename());
        }
        return names;
    }
    GrowingFolder growing() const {
        return {folder.path(), std::nullopt, 1ms, [] { return false; }};
    }
    void age(const std::string& path) const {
        std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - 1h);
    }

    test::TemporaryFolder folder;
};

TEST_F(Frames, AFolderGivesItsFramesInTheOrderOfTheirNames) {
    pgm("b.pgm", 1);
    pgm("a.PGM", 2);
    folder.write("index.csv", "no frame");
    FrameOptions options;
    options.paths = {folder.path().string()};
    const auto source = openFrames(options);
    EXPECT_EQ(source->count(), 2U);
    EXPECT_THAT(namesIn(*source), ElementsAre("a.PGM", "b.pgm"));
}

TEST_F(Frames, FilesComeAsTheyStandOnTheCommandLine) {
    FrameOptions options;
    options.paths = {pgm("b.pgm", 1), pgm("a.pgm", 2)};
    EXPECT_THAT(namesIn(*openFrames(options)), ElementsAre("b.pgm", "a.pgm"));
}

TEST_F(Frames, AFolderWithoutFramesIsAFault) {
    FrameOptions options;
    options.paths = {folder.path().string()};
    EXPECT_THROW(openFrames(options), InputFault);
}

TEST_F(Frames, APictureKeepsItsGrey) {
    const Frame frame = readFrame(pgm("a.pgm", 77), std::nullopt);
    EXPECT_EQ(frame.luma.size(), cv::Size(4, 2));
    EXPECT_EQ(frame.luma.at<std::uint8_t>(1, 3), 77);
    EXPECT_TRUE(frame.luma.isContinuous());
}

TEST_F(Frames, ARawPlaneIsTakenRowByRow) {
    const Frame frame = readFrame(folder.write("a.raw", "abcdefgh"), cv::Size(4, 2));
    EXPECT_EQ(frame.luma.at<char>(0, 3), 'd');
    EXPECT_EQ(frame.luma.at<char>(1, 0), 'e');
}

TEST_F(Frames, OfAPlaneWithChromaTheFirstPartCounts) {
    const Frame frame = readFrame(folder.write("a.nv12", "abcdefghuvuv"), cv::Size(4, 2));
    EXPECT_EQ(frame.luma.at<char>(1, 3), 'h');
}

TEST_F(Frames, ARawPlaneOfAnotherSizeIsAFault) {
    EXPECT_THROW(readFrame(folder.write("a.raw", "abcdefg"), cv::Size(4, 2)), InputFault);
}

TEST_F(Frames, SizesAreWrittenWithACross) {
    EXPECT_EQ(sizeFrom("640x480"), cv::Size(640, 480));
    for (const char* wrong : {"640", "x480", "640x", "0x480", "-1x2", "640x480p", "99999x1", ""}) {
        EXPECT_THROW(sizeFrom(wrong), InputFault) << wrong;
    }
}

TEST_F(Frames, AGrowingFolderGivesEachFrameOnce) {
    age(pgm("b.pgm", 1));
    age(pgm("a.pgm", 2));
    GrowingFolder source = growing();
    EXPECT_THAT(namesIn(source), ElementsAre("a.pgm", "b.pgm"));
    age(pgm("0.pgm", 3));
    EXPECT_THAT(namesIn(source), ElementsAre("0.pgm"));
    EXPECT_THAT(namesIn(source), IsEmpty());
}

TEST_F(Frames, AGrowingFolderWaitsForAFileThatIsStillWrittenTo) {
    pgm("a.pgm", 1);
    const auto start = std::chrono::steady_clock::now();
    GrowingFolder source = growing();
    EXPECT_THAT(namesIn(source), ElementsAre("a.pgm"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 80ms);
}

TEST_F(Frames, AGrowingFolderEndsWhenItIsStopped) {
    GrowingFolder source(folder.path(), std::nullopt, 0ms, [] { return true; });
    EXPECT_FALSE(source.next().has_value());
}

}  // namespace
}  // namespace brairu::tool
