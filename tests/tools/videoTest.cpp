// Frames of videos.
#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "fault.h"
#include "frames/frameOptions.h"
#include "frames/stopSignals.h"
#include "frames/video.h"
#include "support/pgm.h"
#include "support/temporaryFolder.h"
#include "support/video.h"

namespace brairu::tool {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::StrEq;
using testing::ThrowsMessage;

constexpr int kWidth = 64;
constexpr int kHeight = 48;

// The programs that a test finds, until it ends.
class SearchPath {
public:
    explicit SearchPath(const std::string& path) : old_(std::getenv("PATH")) {
        ::setenv("PATH", path.c_str(), 1);
    }
    ~SearchPath() { ::setenv("PATH", old_.c_str(), 1); }
    SearchPath(const SearchPath&) = delete;
    SearchPath& operator=(const SearchPath&) = delete;

private:
    std::string old_;
};

std::string pgm(std::uint8_t grey) {
    return test::pgm(kWidth, kHeight, std::string(kWidth * kHeight, static_cast<char>(grey)));
}

std::vector<int> greysOf(FrameSource& source) {
    std::vector<int> greys;
    while (const std::optional<Frame> frame = source.next()) {
        greys.push_back(frame->luma.at<std::uint8_t>(kHeight - 1, kWidth - 1));
    }
    return greys;
}

class Videos : public testing::Test {
protected:
    // Frames of plain grey as a video, losslessly; options are those of ffmpeg.
    std::string video(const std::string& name, const std::vector<std::uint8_t>& greys,
                      const std::string& options = "-c:v ffv1") {
        std::string pictures;
        for (const std::uint8_t grey : greys) {
            pictures += pgm(grey);
        }
        const std::string path = folder.file(name);
        EXPECT_TRUE(test::makeVideo(path, pictures, options));
        return path;
    }
    // A program of this name, in a folder by itself.
    std::string script(const std::string& text) {
        const std::string path = folder.write("ffmpeg", "#!/bin/sh\n" + text);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return folder.path().string() + ":" + std::getenv("PATH");
    }

    test::TemporaryFolder folder;
};

TEST_F(Videos, GiveEveryFrameAsItIs) {
    const std::string path = video("hand.mkv", {10, 200, 30, 255, 0});
    const auto source = openVideo(path);
    const std::optional<Frame> first = source->next();
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first->name, path + " #1");
    EXPECT_EQ(first->luma.size(), cv::Size(kWidth, kHeight));
    EXPECT_EQ(first->luma.type(), CV_8UC1);
    EXPECT_TRUE(first->luma.isContinuous());
    EXPECT_THAT(greysOf(*source), ElementsAre(200, 30, 255, 0));
    EXPECT_FALSE(source->next().has_value());
}

TEST_F(Videos, LeaveOutAndRepeatNoneOfFramesThatComeUnevenly) {
    const std::string path =
        video("hand.mkv", {1, 2, 3, 4}, "-vf setpts=N*N*N/TB -fps_mode passthrough -c:v ffv1");
    EXPECT_THAT(greysOf(*openVideo(path)), ElementsAre(1, 2, 3, 4));
}

TEST_F(Videos, MayHaveFramesThatAreNearerThanTheirRate) {
    const std::string path =
        video("hand.mkv", {1, 2, 3, 4, 5, 6, 7, 8, 9},
              "-vf \"settb=1/1000,setpts='40*N-if(eq(mod(N,3),2),32,0)'\" -fps_mode passthrough "
              "-enc_time_base 1/1000 -c:v ffv1");
    EXPECT_THAT(greysOf(*openVideo(path)), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
}

TEST_F(Videos, StandAsTheSensorHasThem) {
    const std::string upright = video("upright.mp4", {90}, "-c:v mpeg4 -q:v 1");
    const std::string turned = folder.file("turned.mp4");
    const std::string turn = "ffmpeg -nostdin -loglevel error -i " + upright +
                             " -c copy -metadata:s:v rotate=90 " + turned;
    ASSERT_EQ(std::system(turn.c_str()), 0);
    const std::optional<Frame> frame = openVideo(turned)->next();
    ASSERT_TRUE(frame.has_value());
    EXPECT_EQ(frame->luma.size(), cv::Size(kWidth, kHeight));
}

// Video is mostly stored in a range of 16 to 235.
TEST_F(Videos, HaveTheGreyOfTheirGreyPlane) {
    const std::string path =
        video("hand.mkv", {0, 128, 255}, "-pix_fmt yuv420p -color_range tv -c:v ffv1");
    EXPECT_THAT(greysOf(*openVideo(path)), ElementsAre(16, 126, 235));
}

TEST_F(Videos, OfColourBecomeGrey) {
    const std::string path = video("hand.avi", {90, 180}, "-pix_fmt bgr0 -c:v ffv1");
    EXPECT_THAT(greysOf(*openVideo(path)),
                ElementsAre(testing::AllOf(testing::Ge(89), testing::Le(91)),
                            testing::AllOf(testing::Ge(179), testing::Le(181))));
}

TEST_F(Videos, MayHaveAnyName) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    for (const char* const name : {"a hand.mkv", "-hand.mkv", "concat:hand.mkv", "\"$(hand).mkv"}) {
        (void)video(name, {7});
        EXPECT_THAT(greysOf(*openVideo(name)), ElementsAre(7)) << name;
    }
    std::filesystem::current_path(before);
}

TEST_F(Videos, ComeInTheirTurnOnACommandLine) {
    FrameOptions options;
    options.paths = {folder.write("first.pgm", pgm(1)), video("hand.mkv", {2, 3}),
                     folder.write("last.pgm", pgm(4))};
    const auto source = openFrames(options);
    EXPECT_FALSE(source->count().has_value());
    EXPECT_THAT(greysOf(*source), ElementsAre(1, 2, 3, 4));
}

TEST_F(Videos, ThatAreNoneAreAFault) {
    const std::string path = folder.write("hand.mp4", "no video");
    const auto source = openVideo(path);
    EXPECT_THAT([&] { source->next(); },
                ThrowsMessage<SourceFault>(
                    StrEq(path + " cannot be read as a video: moov atom not found")));
    EXPECT_FALSE(source->next().has_value());
}

TEST_F(Videos, ThatWereCutSaySoAfterWhatIsLeft) {
    const std::string path = video("hand.mkv", std::vector<std::uint8_t>(60, 9));
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    const auto source = openVideo(path);
    EXPECT_TRUE(source->next().has_value());
    EXPECT_THAT([&] { greysOf(*source); },
                ThrowsMessage<SourceFault>(
                    testing::AllOf(testing::StartsWith(path + " has a fault, and gave "),
                                   testing::HasSubstr(" frames: File ended prematurely"))));
}

TEST_F(Videos, WhoseIndexWasCutOffAreAFault) {
    const std::string path = video("hand.mp4", {1, 2, 3}, "-c:v mpeg4");
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    EXPECT_THAT([&] { openVideo(path)->next(); },
                ThrowsMessage<SourceFault>(
                    StrEq(path + " cannot be read as a video: Stream map '0:v:0' matches no "
                                 "streams.")));
}

TEST_F(Videos, MayBeLeftBeforeTheirEnd) {
    const std::string path = video("hand.mkv", std::vector<std::uint8_t>(200, 5));
    const auto source = openVideo(path);
    EXPECT_TRUE(source->next().has_value());
}

TEST_F(Videos, CannotBeReadWithoutFfmpeg) {
    const SearchPath nothing(folder.path().string());
    EXPECT_THAT([] { openVideo("hand.mp4"); },
                ThrowsMessage<InputFault>(StrEq("hand.mp4 cannot be read: the program ffmpeg, "
                                                "which reads videos, is not there")));
}

TEST_F(Videos, CannotBeReadWhereFfmpegMayNotRun) {
    folder.write("ffmpeg", "");
    const SearchPath noProgram(folder.path().string());
    EXPECT_THAT([] { openVideo("hand.mp4"); },
                ThrowsMessage<InputFault>(StrEq("hand.mp4 cannot be read: ffmpeg cannot be "
                                                "started: Permission denied")));
}

TEST_F(Videos, AnEndOfFfmpegWithoutAReasonIsAFaultToo) {
    const SearchPath found(script("cat '" + folder.write("one.pnm", pgm(3)) + "'; exit 1"));
    const auto source = openVideo("hand.mp4");
    EXPECT_TRUE(source->next().has_value());
    EXPECT_THAT([&] { source->next(); },
                ThrowsMessage<SourceFault>(
                    StrEq("hand.mp4 has a fault, and gave 1 frames: ffmpeg failed")));
}

TEST_F(Videos, WithoutFramesAreAFault) {
    const SearchPath found(script("exit 0"));
    EXPECT_THAT(
        [] { openVideo("hand.mp4")->next(); },
        ThrowsMessage<SourceFault>(StrEq("hand.mp4 cannot be read as a video: it has no frames")));
}

TEST_F(Videos, AFrameThatEndsTooEarlyIsLeftOut) {
    const SearchPath found(
        script("cat '" + folder.write("part.pnm", pgm(3) + pgm(4).substr(0, 100)) + "'"));
    EXPECT_THAT(greysOf(*openVideo("hand.mp4")), ElementsAre(3));
}

TEST_F(Videos, AreHandedOnAsFilesThatReachIntoNoNetwork) {
    const SearchPath found(script("echo \"$*\" > '" + folder.file("words") + "'"));
    EXPECT_THROW(openVideo("http:hand.mp4")->next(), SourceFault);
    std::string words;
    std::getline(std::ifstream(folder.file("words")), words);
    EXPECT_THAT(words, testing::HasSubstr(" -protocol_whitelist file -i file:http:hand.mp4 "));
}

TEST_F(Videos, EndWhenASignalAsksTheToolToStop) {
    const SearchPath found(script("exec sleep 60"));
    const auto source = openVideo("hand.mp4");
    stopOnSignals();
    std::atomic<bool> ended = false;
    std::thread stopper([&ended, reader = ::pthread_self()] {
        while (!ended) {
            ::pthread_kill(reader, SIGTERM);
            std::this_thread::sleep_for(20ms);
        }
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(source->next().has_value());
    ended = true;
    stopper.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 50s);
}

}  // namespace
}  // namespace brairu::tool
