// Frames of videos. Those of real ones are left out where there is no ffmpeg.
#include <gmock/gmock.h>

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
    const std::string head =
        "P5\n" + std::to_string(kWidth) + " " + std::to_string(kHeight) + "\n255\n";
    return head + std::string(kWidth * kHeight, static_cast<char>(grey));
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

    // What ffmpeg is told for a source of this name.
    std::string wordsFor(const std::string& name) {
        const SearchPath found(script("echo \"$*\" > '" + folder.file("words") + "'"));
        EXPECT_THROW(openVideo(name)->next(), SourceFault);
        std::string words;
        std::getline(std::ifstream(folder.file("words")), words);
        return words;
    }

    test::TemporaryFolder folder;
};

class RealVideos : public Videos {
protected:
    void SetUp() override {
        if (!test::hasFfmpeg()) {
            GTEST_SKIP() << "there is no ffmpeg";
        }
    }
};

TEST_F(RealVideos, GiveEveryFrameAsItIs) {
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

TEST_F(RealVideos, LeaveOutAndRepeatNoneOfFramesThatComeUnevenly) {
    const std::string path =
        video("hand.mkv", {1, 2, 3, 4}, "-vf setpts=N*N*N/TB -fps_mode passthrough -c:v ffv1");
    EXPECT_THAT(greysOf(*openVideo(path)), ElementsAre(1, 2, 3, 4));
}

TEST_F(RealVideos, StandAsTheSensorHasThem) {
    const std::string path =
        video("hand.mp4", {90, 90}, "-c:v mpeg4 -q:v 1 -metadata:s:v rotate=90");
    const std::optional<Frame> frame = openVideo(path)->next();
    ASSERT_TRUE(frame.has_value());
    EXPECT_EQ(frame->luma.size(), cv::Size(kWidth, kHeight));
}

TEST_F(RealVideos, OfColourBecomeGrey) {
    const std::string path = video("hand.avi", {90, 180}, "-c:v mjpeg -pix_fmt yuvj422p -q:v 1");
    EXPECT_THAT(greysOf(*openVideo(path)),
                ElementsAre(testing::AllOf(testing::Ge(88), testing::Le(92)),
                            testing::AllOf(testing::Ge(178), testing::Le(182))));
}

TEST_F(RealVideos, MayHaveAnyName) {
    for (const char* const name : {"a hand.mkv", "-hand.mkv", "concat:hand.mkv", "\"$(hand).mkv"}) {
        const std::string path = video(name, {7});
        EXPECT_THAT(greysOf(*openVideo(path)), ElementsAre(7)) << name;
    }
}

TEST_F(RealVideos, ComeInTheirTurnOnACommandLine) {
    FrameOptions options;
    options.paths = {folder.write("first.pgm", pgm(1)), video("hand.mkv", {2, 3}),
                     folder.write("last.pgm", pgm(4))};
    const auto source = openFrames(options);
    EXPECT_FALSE(source->count().has_value());
    EXPECT_THAT(greysOf(*source), ElementsAre(1, 2, 3, 4));
}

TEST_F(RealVideos, ThatAreNoneAreAFault) {
    const std::string path = folder.write("hand.mp4", "no video");
    const auto source = openVideo(path);
    EXPECT_THAT([&] { source->next(); },
                ThrowsMessage<SourceFault>(StrEq(path + " cannot be read as a video")));
    EXPECT_FALSE(source->next().has_value());
}

TEST_F(RealVideos, WhoseIndexWasCutOffAreAFault) {
    const std::string path = video("hand.mp4", {1, 2, 3}, "-c:v mpeg4");
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    EXPECT_THROW(greysOf(*openVideo(path)), SourceFault);
}

TEST_F(RealVideos, MayBeLeftBeforeTheirEnd) {
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

TEST_F(Videos, ThatEndInAFaultSayWhere) {
    const SearchPath found(script("cat '" + folder.write("one.pnm", pgm(3)) + "'; exit 1"));
    const auto source = openVideo("hand.mp4");
    EXPECT_TRUE(source->next().has_value());
    EXPECT_THAT([&] { source->next(); },
                ThrowsMessage<SourceFault>(StrEq("hand.mp4 cannot be read beyond frame 1")));
}

TEST_F(Videos, AFrameThatEndsTooEarlyIsLeftOut) {
    const SearchPath found(
        script("cat '" + folder.write("part.pnm", pgm(3) + pgm(4).substr(0, 100)) + "'"));
    EXPECT_THAT(greysOf(*openVideo("hand.mp4")), ElementsAre(3));
}

TEST_F(Videos, AnAddressIsHandedOnAsItIs) {
    EXPECT_EQ(wordsFor("rtsp://door/stream"),
              "-nostdin -loglevel error -noautorotate -i rtsp://door/stream -map 0:v:0 -fps_mode "
              "passthrough -pix_fmt gray -c:v pgm -f image2pipe -");
}

TEST_F(Videos, AFileIsHandedOnAsOneThatReachesIntoNoNetwork) {
    EXPECT_EQ(wordsFor("http:hand.mp4"),
              "-nostdin -loglevel error -noautorotate -protocol_whitelist file -i "
              "file:http:hand.mp4 -map 0:v:0 -fps_mode passthrough -pix_fmt gray -c:v pgm -f "
              "image2pipe -");
}

TEST_F(Videos, AStreamThatGivesNothingEndsWhenItIsStopped) {
    const SearchPath found(script("exec sleep 60"));
    const auto source = openVideo("rtsp://door/stream");
    stopOnSignals();
    const pthread_t reader = ::pthread_self();
    std::thread stopper([reader] {
        std::this_thread::sleep_for(200ms);
        ::pthread_kill(reader, SIGTERM);
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(source->next().has_value());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
    stopper.join();
}

}  // namespace
}  // namespace brairu::tool
